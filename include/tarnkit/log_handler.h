/// \file
/// `CLogMessageHandler`: a log for programs that run for long, or several at a time.
///
/// Each line of a message says when it was written, by which process and how serious it is:
///
///     2026-11-22 14:03:07.123Z [4711] warning: The disk is full.
///
/// The time is UTC, the number that of the process, and the last word comes from the icon of the message:
/// error, warning, question or information. The log is UTF-8 without a mark, and a line ends with a line
/// feed. Characters that a terminal would obey are made visible (`TerminalText`), so a message can neither
/// pretend to be another line nor give orders to the terminal on which the log is read.
///
/// Any number of threads and processes may write to the same log: a message is written in one piece, while
/// the others wait for two seconds at most. When it would make the log larger than it may be, what the log
/// has becomes "NAME.1", the former "NAME.1" becomes "NAME.2" and so on, and the log begins anew. A process
/// that is killed meanwhile loses nothing; messages may be in both the log and "NAME.1" then.
///
/// \code
/// CLogMessageHandler log(u"server.log", {.LargestSize = 1 << 20, .OldLogs = 9});
/// CMessageHandlerSwitcher toLog(&log);
/// \endcode
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// What a log is like. Processes that share one should agree.
struct CLogOptions {
    bool HasPrefix = true; ///< whether lines begin with time, process and severity
    Int64 LargestSize = 0; ///< bytes after which the log begins anew; 0 for a log without an end
    int OldLogs = 4;       ///< how many former logs are kept
};

class CFile;

/// Appends each message to a log and answers with the preselected button.
class TARNKIT_API CLogMessageHandler : public CMessageHandler {
public:
    /// The log has this name from the first message on; the folder must exist.
    explicit CLogMessageHandler(const CUnicodeString& name, const CLogOptions& logOptions = {});
    ~CLogMessageHandler() override;

    /// A message that cannot be written is lost. If only the former logs cannot be moved, the log grows.
    int ShowMessage(HWND owner, const char16_t* text, const char16_t* caption, unsigned flags) override;

private:
    CUnicodeString fileName;
    CLogOptions options;

    CUnicodeString oldLog(int number) const;
    void beginAnew(CFile& log) const;
};

} // namespace Tarn
