// Last error, debugger output and the end of the process.
#include "platform/platform.h"
#include "platform/posix/memory/allocator.h"
#include "platform/posix/support/descriptor.h"
#include "platform/posix/support/error_codes.h"
#include "platform/posix/support/last_error.h"
#include "platform/posix/support/standard_streams.h"
#include "platform/posix/support/write_signals.h"
#include "platform/posix/text/terminal_text.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/random.h>
#include <unistd.h>

namespace Tarn::Platform::Posix {

constinit thread_local DWORD lastError = 0;

} // namespace Tarn::Platform::Posix

namespace Tarn::Platform {

using Posix::lastError;

namespace {

constexpr const char* kTraceVariable = "TARNKIT_TRACE";

// The descriptor that debugger output goes to, or -1 for none. Determined once. A program that has other
// rights than the user who started it does not open files that this user names.
int openTraceOutput() {
    const char* target = secure_getenv(kTraceVariable);
    if (target == nullptr || *target == '\0')
        return -1;
    if (std::strcmp(target, "stderr") == 0)
        return Posix::WasOpenAtLoad(STDERR_FILENO) ? STDERR_FILENO : -1;
    return open(target, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
}

void writeFully(int descriptor, const char* bytes, std::size_t size) {
    const Posix::WriteSignalsHeld held; // the reader may have gone
    while (size > 0) {
        const ssize_t written = write(descriptor, bytes, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

void writeShown(int descriptor, const char16_t* text) {
    const std::size_t length = std::char_traits<char16_t>::length(text);
    char* const bytes = static_cast<char*>(std::malloc(length * Posix::kLongestShown + 1));
    if (bytes == nullptr)
        return;
    std::size_t size = 0;
    for (const char16_t* end = text + length; text != end;)
        Posix::PutShown(text, end, [&](char byte) { bytes[size++] = byte; });
    writeFully(descriptor, bytes, size);
    std::free(bytes);
}

/// For systems that do not know `getrandom`, and for sandboxes that refuse it.
ssize_t readRandomDevice(void* bytes, std::size_t size) {
    const Posix::Descriptor device(open("/dev/urandom", O_RDONLY | O_CLOEXEC));
    return device < 0 ? -1 : read(device, bytes, size);
}

} // namespace

DWORD GetLastError() { return lastError; }

void SetLastError(DWORD code) { lastError = code; }

void OutputDebugStringW(const char16_t* text) {
    static const int descriptor = openTraceOutput();
    if (descriptor < 0)
        return;
    const DWORD kept = lastError;
    writeShown(descriptor, text);
    lastError = kept;
}

void WriteLastWords(const char16_t* title, const char16_t* text) {
    if (!Posix::WasOpenAtLoad(STDERR_FILENO))
        return;
    for (const char16_t* part : {title, u": ", text, u"\n"})
        writeShown(STDERR_FILENO, part);
}

void DebugBreak() { raise(SIGTRAP); }

void TerminateThisProcess(UINT exitCode) { _exit(static_cast<int>(exitCode)); }

DWORD GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }

BOOL RtlGenRandom(void* buffer, DWORD size) {
    auto bytes = static_cast<char*>(buffer);
    while (size > 0) {
        ssize_t given = getrandom(bytes, size, 0);
        if (given < 0 && errno != EINTR)
            given = readRandomDevice(bytes, size);
        if (given < 0 && errno != EINTR)
            return Posix::Report(Posix::CodeOf(errno));
        if (given > 0) {
            bytes += given;
            size -= static_cast<DWORD>(given);
        }
    }
    return Posix::Report(ERROR_SUCCESS);
}

} // namespace Tarn::Platform

// The system's own calls, as clients know them.
DWORD GetLastError() { return Tarn::Platform::GetLastError(); }

void SetLastError(DWORD code) { Tarn::Platform::SetLastError(code); }
