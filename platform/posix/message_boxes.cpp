// The port has no windows: its message boxes are questions on the terminal.
#include "platform/message_box_buttons.h"
#include "platform/platform.h"
#include "platform/posix/memory/allocator.h"
#include "platform/posix/support/fork_handlers.h"
#include "platform/posix/support/standard_streams.h"
#include "platform/posix/support/write_signals.h"
#include "platform/posix/text/terminal_text.h"
#include "platform/window_system.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <string>
#include <string_view>

namespace Tarn {
namespace {

using Platform::CMessageBoxButtons;
using Platform::Posix::String;

// The buttons of a box. ----------------------------------------------------------------------------------

std::string_view nameOf(int button) {
    switch (button) {
    case IDOK:
        return "OK";
    case IDCANCEL:
        return "Cancel";
    case IDABORT:
        return "Abort";
    case IDRETRY:
        return "Retry";
    case IDIGNORE:
        return "Ignore";
    case IDYES:
        return "Yes";
    default:
        return "No";
    }
}

// The terminal. ------------------------------------------------------------------------------------------

/// Writes to standard error. If that is closed or cannot be written, nothing is shown.
void show(std::string_view text) {
    if (!Platform::Posix::WasOpenAtLoad(STDERR_FILENO))
        return;
    const Platform::Posix::WriteSignalsHeld held; // the reader may have gone
    while (!text.empty()) {
        ssize_t written = write(STDERR_FILENO, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd output = {STDERR_FILENO, POLLOUT, 0};
            poll(&output, 1, -1);
        } else if (errno != EINTR) {
            return;
        }
    }
}

/// Reads a line into `line`; false at the end of the input, even in the middle of a line.
bool readLine(String& line) {
    for (line.clear();;) {
        char c;
        ssize_t count = read(STDIN_FILENO, &c, 1);
        if (count == 1 && c == '\n')
            return true;
        if (count == 1) {
            line.push_back(c);
        } else if (count < 0 && errno == EAGAIN) {
            pollfd input = {STDIN_FILENO, POLLIN, 0};
            poll(&input, 1, -1);
        } else if (count == 0 || errno != EINTR) {
            return false;
        }
    }
}

/// Writes a message to the terminal, in one piece if it is not long. Allocates nothing, so that it can report
/// a lack of memory.
class ShownMessage {
public:
    ShownMessage() = default;
    ShownMessage(const ShownMessage&) = delete;
    ShownMessage& operator=(const ShownMessage&) = delete;
    ~ShownMessage() { flush(); }

    /// Adds text as UTF-8 with the line ends of this system.
    void Add(const char16_t* text) {
        const char16_t* end = text + std::char_traits<char16_t>::length(text);
        while (text != end) {
            if (text[0] == u'\r' && text[1] == u'\n')
                text++;
            if (size + Platform::Posix::kLongestShown > kRoom)
                flush();
            Platform::Posix::PutShown(text, end, [this](char byte) { bytes[size++] = byte; });
        }
    }

private:
    static constexpr int kRoom = 1024;

    char bytes[kRoom];
    int size = 0;

    void flush() {
        show({bytes, static_cast<std::size_t>(size)});
        size = 0;
    }
};

String prompt(const CMessageBoxButtons& set, int preselectedIndex) {
    String result;
    for (int i = 0; i < set.count; i++) {
        result.append(i == 0 ? "" : ", ").append(1, static_cast<char>('1' + i)).append(" ");
        result.append(nameOf(set.ids[i])).append(i == preselectedIndex ? " (default)" : "");
    }
    return result += ": ";
}

bool sameWithoutCase(std::string_view a, std::string_view b) {
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; };
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); i++)
        if (lower(a[i]) != lower(b[i]))
            return false;
    return true;
}

/// The button that an answer names by its number, first letter or name; the preselected one for an empty
/// answer, -1 for any other.
int buttonOfAnswer(std::string_view answer, const CMessageBoxButtons& set, int preselectedIndex) {
    constexpr std::string_view kBlanks = " \t\r";
    std::size_t first = answer.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return preselectedIndex;
    answer = answer.substr(first, answer.find_last_not_of(kBlanks) + 1 - first);
    for (int i = 0; i < set.count; i++) {
        const char number = static_cast<char>('1' + i);
        std::string_view name = nameOf(set.ids[i]);
        if (answer == std::string_view(&number, 1) || sameWithoutCase(answer, name) ||
            sameWithoutCase(answer, name.substr(0, 1)))
            return i;
    }
    return -1;
}

/// Whether there is somebody to ask.
bool isTerminal() {
    for (const int descriptor : {STDIN_FILENO, STDERR_FILENO})
        if (!Platform::Posix::WasOpenAtLoad(descriptor) || isatty(descriptor) == 0)
            return false;
    return true;
}

constinit std::mutex terminalInUse; // while somebody is asked

int askOnTerminal(const char16_t* text, const char16_t* caption, UINT flags) {
    const CMessageBoxButtons& set = Platform::ButtonsOf(flags);
    int answer = set.Preselected(flags);
    std::lock_guard<std::mutex> lock(terminalInUse);
    {
        ShownMessage message;
        for (const char16_t* part : {caption, u": ", text, u"\n"})
            message.Add(part);
    }
    try {
        if (&set == &Platform::kUnknownButtons || !isTerminal())
            return set.ids[answer];
        String question = prompt(set, answer);
        String line;
        for (;;) {
            show(question);
            if (!readLine(line)) {
                show("\n");
                break;
            }
            int chosen = buttonOfAnswer(line, set, answer);
            if (chosen >= 0)
                return set.ids[chosen];
        }
    } catch (const std::bad_alloc&) {
        // Answered as if nobody were there to ask.
    }
    return set.ids[answer];
}

} // namespace

namespace Platform {

// A fork does not wait for an answer on the terminal.
constinit const Posix::ForkHandlers Posix::kBoxesAtFork = {LockWindowSystem, UnlockWindowSystem, [] {
                                                               UnlockWindowSystem();
                                                               MakeNewInChild(terminalInUse);
                                                               ForgetWindowCallsOfOtherThreads();
                                                           }};

namespace PortWindows {

int MessageBox(HWND, const char16_t* text, const char16_t* caption, UINT flags) {
    return askOnTerminal(TextOfBox(text), CaptionOfBox(caption), flags);
}

HWND GetDesktopWindow() { return nullptr; }
HWND GetWindow(HWND, UINT) { return NoWindow(); }
HWND GetParent(HWND) { return NoWindow(); }
LONG GetWindowStyle(HWND) { return 0; }
bool IsWindowVisible(HWND) { return false; }
bool IsWindowEnabled(HWND) { return false; }
bool EnableWindow(HWND, bool) { return false; }

} // namespace PortWindows
} // namespace Platform
} // namespace Tarn
