#include <tarnkit/log_handler.h>

#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/text_of_values.h>

#include "errors/log_writing.h"
#include "files/file_replacement.h"
#include "files/patience.h"
#include "platform/platform.h"

#include <algorithm>
#include <mutex>

namespace Tarn {

namespace {

const char* severityOf(unsigned flags) {
    switch (flags & 0xF0) {
    case MB_ICONHAND:
        return "error";
    case MB_ICONEXCLAMATION:
        return "warning";
    case MB_ICONQUESTION:
        return "question";
    default:
        return "information";
    }
}

// What stands in front of each line.
CString prefixOf(unsigned flags) {
    FILETIME now;
    Platform::GetSystemTimeAsFileTime(&now);
    SYSTEMTIME time;
    Platform::FileTimeToSystemTime(&now, &time);
    return Format("%04d-%02d-%02d %02d:%02d:%02d.%03dZ [%u] %s: ", time.wYear, time.wMonth, time.wDay,
                  time.wHour, time.wMinute, time.wSecond, time.wMilliseconds,
                  static_cast<unsigned>(Platform::GetCurrentProcessId()), severityOf(flags));
}

// The message as the log has it.
CString entryOf(const CUnicodeString& message, const CString& prefix) {
    const CString text = TerminalText(message).CreateString(CP_UTF8);
    CString entry;
    const int length = text.GetLength();
    for (int start = 0, end; start <= length; start = end + 1) {
        end = text.Find('\n', start);
        if (end < 0)
            end = length;
        const bool hasReturn = end > start && text[end - 1] == '\r';
        if (start < length || start == 0) // nothing follows the last line end
            entry += prefix + text.Mid(start, end - start - hasReturn) + "\n";
    }
    return entry;
}

} // namespace

CLogMessageHandler::CLogMessageHandler(const CUnicodeString& name, const CLogOptions& logOptions)
    : fileName(name), options(logOptions) {}

CLogMessageHandler::~CLogMessageHandler() = default;

CUnicodeString CLogMessageHandler::oldLog(int number) const { return fileName + u"." + UnicodeStr(number); }

// The log stays open all the time, so other processes wait; its contents are copied before they are cut off.
void CLogMessageHandler::beginAnew(CFile& log) const {
    try {
        for (int number = options.OldLogs - 1; number > 0; number--)
            if (FileSystem::AccessFile(oldLog(number), 0)) {
                FileSystem::RemoveIgnoreErrors(oldLog(number + 1));
                FileSystem::Move(oldLog(number), oldLog(number + 1));
            }
        if (options.OldLogs > 0) {
            CFileReplacement copy(oldLog(1));
            log.SeekToBegin();
            copy.Fill([&](CFile& file) {
                char piece[16384];
                while (const int size = log.Read(piece, sizeof piece))
                    file.Write(piece, size);
            });
            copy.Commit();
        }
        log.SetLength(0);
    } catch (CException* e) {
        e->Delete();
    }
}

int CLogMessageHandler::ShowMessage(HWND, const char16_t* text, const char16_t*, unsigned flags) {
    const std::lock_guard guard(logMutex);
    try {
        const CString entry = entryOf(text, options.HasPrefix ? prefixOf(flags) : CString());
        CFile log;
        OpenPatiently(log, fileName,
                      CFile::ForReadingAndWriting | CFile::DenyWrite | CFile::Create | CFile::KeepContents,
                      kWaitForOtherProcesses);
        const Int64 size = log.GetLength64();
        if (options.LargestSize > 0 && size > 0 && size + entry.GetLength() > options.LargestSize)
            beginAnew(log);
        AppendWhole(log, [&](Int64) { log.Write(entry.Ptr(), entry.GetLength()); });
        log.Close();
    } catch (CException* e) {
        e->Delete();
    }
    return GetDefaultReturnValue(flags);
}

} // namespace Tarn
