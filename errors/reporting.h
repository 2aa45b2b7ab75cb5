// What reports have in common: the guard that every report runs under, and the error box.
//
// The guard makes the default memory manager current while a report is built, and records per thread whether
// one is being made: a report from inside another one ends the process instead of recursing.
#pragma once

#include <tarnkit/layout.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// What a thread is doing, kept in its thread record.
struct CReportingState {
    unsigned char reporting; ///< not 0 while an assertion or a warning is being reported
    unsigned char warning;   ///< not 0 while a warning is being shown
};
TARNKIT_LAYOUT(CReportingState, 2, reporting, warning);

class CReportingGuard {
public:
    enum TMode { plain, assertion, warning };

    /// In modes other than `plain`, ends the process (exit code 3) if this thread is already reporting.
    explicit CReportingGuard(TMode mode);
    /// Restores the thread's state.
    ~CReportingGuard();

    CReportingGuard(const CReportingGuard&) = delete;
    CReportingGuard& operator=(const CReportingGuard&) = delete;

private:
    CMemoryManagerSwitcher toDefaultManager;
    CReportingState saved;
};

/// Runs `make` under a guard. What it returns is thrown afterwards: an exception that finds nothing to
/// destroy in the function that throws it gets through in half the time.
template<class Maker>
[[gnu::noinline]] auto MakeReport(CReportingGuard::TMode mode, const Maker& make) {
    const CReportingGuard guard(mode);
    return make();
}

/// `GenAssert` with words for the user below the place.
void GenAssertInWords(const char16_t* file, long line, const CUnicodeString& words);

/// Shows a text with the stop icon, under the application's title and owned by its main window; returns the
/// button.
int ShowErrorBox(const CUnicodeString& text, unsigned buttons);

/// The exit code of a process that terminates itself because of an internal error.
inline constexpr unsigned kInternalErrorExitCode = 3;

} // namespace Tarn
