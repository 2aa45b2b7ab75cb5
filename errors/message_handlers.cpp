#include <tarnkit/message_handlers.h>

#include <tarnkit/array.h>
#include <tarnkit/byte_order.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/immortal.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/memory_file.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/messages.h>
#include <tarnkit/text_of_values.h>
#include <tarnkit/thread_storage.h>

#include "errors/log_writing.h"
#include "errors/reporting.h"
#include "files/patience.h"
#include "memory/process_mutex.h"
#include "platform/fork.h"
#include "platform/message_box_buttons.h"
#include "platform/platform.h"
#include "platform/terminal_control.h"
#include "strings/byte_order_mark.h"

#include <atomic>
#include <climits>
#include <memory>
#include <mutex>
#include <new>
#include <string>

namespace Tarn {

namespace {

constexpr unsigned kIconMask = 0xF0;

constexpr char16_t kLineEnd[] = u"\r\n";

const char16_t* textOrEmpty(const char16_t* text) { return text != nullptr ? text : u""; }

int lengthOf(const char16_t* text) { return static_cast<int>(std::char_traits<char16_t>::length(text)); }

// Whether the chain of parents and owners of `window` reaches `main`.
bool belongsTo(HWND window, HWND main) {
    while (window != nullptr && window != main) {
        const bool isChild = (Platform::GetWindowStyle(window) & WS_CHILD) != 0;
        window = isChild ? Platform::GetParent(window) : Platform::GetWindow(window, GW_OWNER);
    }
    return window != nullptr;
}

// While it exists, all top-level windows of the application but one are disabled. If boxes of several threads
// are shown at once, the windows stay disabled until the last one goes, whichever that is.
class CApplicationDisabler {
public:
    explicit CApplicationDisabler(HWND exempt) {
        const HWND main = GetMainWindow();
        if (main == nullptr)
            return;
        {
            const std::lock_guard guard(listLock);
            next = std::exchange(newest, this);
        }
        for (HWND window = Platform::GetWindow(Platform::GetDesktopWindow(), GW_CHILD); window != nullptr;
             window = Platform::GetWindow(window, GW_HWNDNEXT))
            if (window != exempt && Platform::IsWindowEnabled(window) && belongsTo(window, main))
                disable(window);
    }
    ~CApplicationDisabler() {
        if (!handOver())
            for (HWND window : windows)
                Platform::EnableWindow(window, TRUE);
    }

    CApplicationDisabler(const CApplicationDisabler&) = delete;
    CApplicationDisabler& operator=(const CApplicationDisabler&) = delete;

private:
    static constinit inline CProcessMutex listLock;
    static constinit inline CApplicationDisabler* newest = nullptr; // begins the list

    CArray<HWND> windows; // changed by another thread only under the lock
    CApplicationDisabler* next = nullptr;

    // If there is no memory to remember a window, it stays enabled.
    void disable(HWND window) {
        try {
            {
                const std::lock_guard guard(listLock);
                windows.Add(window);
            }
            Platform::EnableWindow(window, FALSE);
        } catch (CMemoryException* e) {
            e->Delete();
        }
    }

    // Leaves the list. If another one has begun since, it found these windows disabled and left them alone:
    // it takes them over, and this returns true. What the last one to begin has disabled is its own to
    // enable.
    bool handOver() {
        const std::lock_guard guard(listLock);
        CApplicationDisabler* later = nullptr;
        CApplicationDisabler** link = &newest;
        for (; *link != nullptr && *link != this; link = &(*link)->next)
            later = *link;
        if (*link == nullptr)
            return false;
        *link = next;
        if (later == nullptr)
            return false;
        const CMemoryManagerSwitcher toDefault(nullptr); // the other thread's array outlives this one's
        try {
            later->windows.Append(windows);
            return true;
        } catch (CMemoryException* e) {
            e->Delete();
            return false;
        }
    }
};

bool takesDefaultIcon(unsigned buttonSet) {
    return buttonSet == MB_OK || buttonSet == MB_OKCANCEL || buttonSet == MB_YESNOCANCEL ||
           buttonSet == MB_YESNO;
}

// Writes `text`, adding a carriage return before each line feed that has none.
void writeText(CBaseFile* file, const char16_t* text) {
    if (file == nullptr) {
        GenAssert(u"MessageHandlers", 147);
        return;
    }
    char16_t piece[1024];
    constexpr int kFullPiece = 1023; // one less than the room, because a unit may need two places
    char16_t last = 0;
    while (*text != 0) {
        int count = 0;
        while (*text != 0 && count < kFullPiece) {
            if (*text == u'\n' && last != u'\r')
                piece[count++] = u'\r';
            piece[count++] = last = *text++;
        }
        TurnLittleEndian(piece, static_cast<std::size_t>(count));
        file->Write(piece, count * static_cast<int>(sizeof(char16_t)));
    }
}

void writeEntry(CBaseFile& file, const char16_t* text, bool isFirst) {
    const char16_t mark = LittleEndian(kByteOrderMark);
    if (isFirst)
        file.Write(&mark, sizeof mark);
    writeText(&file, text);
    writeText(&file, u"\n\n"); // a blank line between messages
}

// Adds a message to a log in one write, so that the log never ends with half of it. Only if there is no
// memory to build it in, there are several writes.
void append(CFile& log, const char16_t* text) {
    AppendWhole(log, [&](Int64 end) {
        try {
            CMemoryFile entry;
            writeEntry(entry, text, end == 0);
            log.Write(entry.GetBufferPtr(), entry.GetLength());
        } catch (CMemoryException* e) {
            e->Delete();
            writeEntry(log, text, end == 0);
        }
    });
}

struct CHeapRelease {
    void operator()(char16_t* text) const { ProcessHeap::Free(text); }
};

// The default handlers. The console handler is built only if it is needed.
constinit Immortal<CMessageBoxHandler> boxHandler;
alignas(CConsoleMessageHandler) unsigned char consoleMemory[sizeof(CConsoleMessageHandler)];
constinit CConsoleMessageHandler* consoleHandler = nullptr;

CMessageHandler* chooseDefaultHandler() {
    if (!CConsoleMessageHandler::IsEnabled())
        return &boxHandler.object;
    CMemoryManagerSwitcher toDefault(nullptr);
    consoleHandler = ::new (static_cast<void*>(consoleMemory)) CConsoleMessageHandler;
    return consoleHandler;
}

CMessageHandler* getDefaultHandler() {
    static CMessageHandler* const chosen = chooseDefaultHandler();
    return chosen;
}

constinit std::atomic<CMessageHandler*> processHandler{nullptr};
constinit CThreadRecord threadHandler{sizeof(CMessageHandler*)};

} // namespace

constinit CRecursiveProcessMutex logMutex;

void AttachMessageHandlers() { Platform::MakeNewAfterFork<logMutex>(); }

// CMessageHandler. --------------------------------------------------------------------------------------

void CMessageHandler::ShowWarning(CException* e) {
    CReportingGuard guard(CReportingGuard::warning);
    e->Warning();
}

int CMessageHandler::GetDefaultReturnValue(unsigned flags) {
    const Platform::CMessageBoxButtons& buttons = Platform::ButtonsOf(flags);
    return buttons.ids[buttons.Preselected(flags)];
}

// CMessageBoxHandler. -----------------------------------------------------------------------------------

int CMessageBoxHandler::ShowMessage(HWND owner, const char16_t* text, const char16_t* caption,
                                    unsigned flags) {
    CMemoryManagerSwitcher toDefault(nullptr);
    // Without a visible owner the box would hide behind other windows.
    if (owner == nullptr || !Platform::IsWindowVisible(owner))
        flags |= MB_SETFOREGROUND | MB_TOPMOST;
    CApplicationDisabler disabler(owner);
    if ((flags & kIconMask) == 0 && takesDefaultIcon(flags & Platform::kButtonSetMask))
        flags |= MB_ICONEXCLAMATION;
    return Platform::MessageBoxW(owner, text, caption, flags);
}

// CConsoleMessageHandler. -------------------------------------------------------------------------------

constinit std::atomic<bool> CConsoleMessageHandler::isEnabled{false};
constinit std::atomic<bool> CConsoleMessageHandler::isAddCRLF{true};

CConsoleMessageHandler::CConsoleMessageHandler()
    : logFile(INVALID_HANDLE_VALUE), logFileName(FileSystem::GetEXEFileName()) {
    FileSystem::ReplaceExt(logFileName, u".log");
}

CConsoleMessageHandler::~CConsoleMessageHandler() { closeLogFile(); }

void CConsoleMessageHandler::closeLogFile() {
    if (logFile != INVALID_HANDLE_VALUE)
        Platform::CloseHandle(logFile);
    logFile = INVALID_HANDLE_VALUE;
}

bool CConsoleMessageHandler::openLogFile() {
    if (logFile != INVALID_HANDLE_VALUE)
        return true;
    if (logFileName.IsEmpty())
        return false;
    logFile = Platform::CreateFileW(logFileName, GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL);
    if (logFile == INVALID_HANDLE_VALUE)
        return false;
    write(u"\uFEFF");
    return true;
}

// What cannot be written to the file is lost.
void CConsoleMessageHandler::write(const char16_t* text) {
    WriteLittleEndian(text, static_cast<std::size_t>(lengthOf(text)), [this](const void* bytes, int size) {
        DWORD written;
        Platform::WriteFile(logFile, bytes, static_cast<DWORD>(size), &written);
    });
}

int CConsoleMessageHandler::ShowMessage(HWND, const char16_t* text, const char16_t*, unsigned) {
    text = textOrEmpty(text);
    const std::lock_guard guard(logMutex);
    Platform::OutputDebugStringW(text);
    if (isAddCRLF)
        Platform::OutputDebugStringW(kLineEnd);
    if (openLogFile()) {
        write(text);
        if (isAddCRLF)
            write(kLineEnd);
    }
    return IDOK;
}

void CConsoleMessageHandler::SetEnabled(bool isOn) { isEnabled = isOn; }

bool CConsoleMessageHandler::IsEnabled() { return isEnabled; }

void CConsoleMessageHandler::SetAddCRLF(bool isOn) { isAddCRLF = isOn; }

// CFileMessageHandler. ----------------------------------------------------------------------------------

CFileMessageHandler::CFileMessageHandler(const CString& name) : fileName(name.CreateUnicodeString()) {}

CFileMessageHandler::CFileMessageHandler(const CUnicodeString& name) : fileName(name) {}

CFileMessageHandler::~CFileMessageHandler() = default;

int CFileMessageHandler::ShowMessage(HWND, const char16_t* text, const char16_t*, unsigned flags) {
    const std::lock_guard guard(logMutex);
    try {
        CFile file;
        OpenPatiently(file, fileName,
                      CFile::ForWriting | CFile::DenyWrite | CFile::Create | CFile::KeepContents,
                      kWaitForOtherProcesses);
        append(file, textOrEmpty(text));
        file.Flush();
        file.Close();
    } catch (CException* e) {
        e->Delete();
    }
    return GetDefaultReturnValue(flags);
}

// CMessageHandlerSwitcher. ------------------------------------------------------------------------------

CMessageHandlerSwitcher::CMessageHandlerSwitcher(CMessageHandler* newHandler, bool isBegun, bool isForThread)
    : handler(newHandler), perThread(isForThread) {
    if (isBegun)
        Begin();
}

CMessageHandlerSwitcher::~CMessageHandlerSwitcher() { End(); }

void CMessageHandlerSwitcher::Begin() {
    if (active)
        return;
    if (!perThread) {
        previous = processHandler.exchange(handler);
    } else {
        auto* slot = static_cast<CMessageHandler**>(threadHandler.Get());
        if (slot == nullptr)
            return; // there is no memory for the thread's record
        previous = *slot;
        *slot = handler;
    }
    active = true;
}

void CMessageHandlerSwitcher::End() {
    if (!active)
        return;
    if (!perThread)
        processHandler = previous;
    else if (auto* slot = static_cast<CMessageHandler**>(threadHandler.Find()))
        *slot = previous;
    active = false;
}

int CMessageHandlerSwitcher::DoMessage(HWND owner, const char16_t* text, const char16_t* caption,
                                       unsigned flags) {
    try {
        return GetCurrentMessageHandler()->ShowMessage(owner, text, caption, flags);
    } catch (CException* e) {
        e->Delete();
        return CMessageHandler::GetDefaultReturnValue(flags);
    }
}

void CMessageHandlerSwitcher::DoWarning(CException* e) {
    try {
        GetCurrentMessageHandler()->ShowWarning(e);
    } catch (CException* inner) {
        if (inner != e)
            inner->Delete();
    }
}

// Free functions. ---------------------------------------------------------------------------------------

CMessageHandler* GetCurrentMessageHandler() {
    auto* slot = static_cast<CMessageHandler**>(threadHandler.Find());
    if (slot != nullptr && *slot != nullptr)
        return *slot;
    CMessageHandler* const ofProcess = processHandler;
    return ofProcess != nullptr ? ofProcess : getDefaultHandler();
}

int MessageBoxW(const char16_t* text, int flags) {
    CMemoryManagerSwitcher toDefault(nullptr);
    CUnicodeString caption;
    try {
        caption = GetAppTitle();
    } catch (CMemoryException* e) {
        e->Delete(); // the message may still be shown without memory, and goes without a caption
    }
    return CMessageHandlerSwitcher::DoMessage(GetMainWindow(), text, caption, static_cast<unsigned>(flags));
}

int MessageBoxW(const CMessage& message, int flags) {
    CMemoryManagerSwitcher toDefault(nullptr);
    return MessageBoxW(message.UnicodeStr(), flags);
}

CUnicodeString MessageBoxButtonText(int button) {
    static constexpr struct {
        int code;
        const CMessage& text;
        const char16_t* english;
    } kButtons[] = {{IDOK, TEXT_OF_BUTTON_OK, u"OK"},
                    {IDCANCEL, TEXT_OF_BUTTON_CANCEL, u"Cancel"},
                    {IDABORT, TEXT_OF_BUTTON_ABORT, u"Abort"},
                    {IDRETRY, TEXT_OF_BUTTON_RETRY, u"Retry"},
                    {IDIGNORE, TEXT_OF_BUTTON_IGNORE, u"Ignore"},
                    {IDYES, TEXT_OF_BUTTON_YES, u"Yes"},
                    {IDNO, TEXT_OF_BUTTON_NO, u"No"},
                    {IDTRYAGAIN, TEXT_OF_BUTTON_TRY_AGAIN, u"Try Again"},
                    {IDCONTINUE, TEXT_OF_BUTTON_CONTINUE, u"Continue"}};
    for (const auto& known : kButtons)
        if (known.code == button)
            return known.text.IsDefined() ? known.text.UnicodeStr() : CUnicodeString(known.english);
    return {};
}

CUnicodeString TerminalText(const CUnicodeString& text, bool isOneLine) {
    CUnicodeString shown;
    for (int i = 0; i < text.GetLength(); i++) {
        const bool isLayout =
            text[i] == u'\n' || text[i] == u'\t' || (text[i] == u'\r' && text[i + 1] == u'\n');
        if (Platform::IsTerminalControl(text[i]) && (isOneLine || !isLayout))
            Platform::PutVisibly(text[i], [&](char c) { shown += static_cast<char16_t>(c); });
        else
            shown += text[i];
    }
    return shown;
}

void Trace(const char16_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    VTrace(format, arguments);
    va_end(arguments);
}

void VTrace(const char16_t* format, va_list arguments) {
    constexpr int kFirstSize = 512;
    char16_t first[kFirstSize];
    std::unique_ptr<char16_t, CHeapRelease> larger;
    char16_t* buffer = first;
    int size = kFirstSize;
    int length = FormatInto(buffer, size - 1, format, arguments);
    while (length < 0 && size <= INT_MAX / 4) {
        void* memory = ProcessHeap::TryAlloc(2 * size * static_cast<int>(sizeof(char16_t)));
        if (memory == nullptr)
            break; // a truncated trace is better than none
        larger.reset(static_cast<char16_t*>(memory));
        buffer = larger.get();
        size *= 2;
        length = FormatInto(buffer, size - 1, format, arguments);
    }
    buffer[length >= 0 ? length : size - 1] = 0;
    Platform::OutputDebugStringW(buffer);
}

// From here on the console handler has no file to write to.
void ReleaseMessageHandlers() {
    if (consoleHandler == nullptr)
        return;
    consoleHandler->closeLogFile();
    consoleHandler->logFileName.Empty();
}

} // namespace Tarn
