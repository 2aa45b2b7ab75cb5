#include "errors/reporting.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/messages.h>
#include <tarnkit/text_of_values.h>
#include <tarnkit/thread_storage.h>

#include "platform/platform.h"

#include <atomic>

namespace Tarn {

namespace {

constinit CThreadRecord reportingRecord{sizeof(CReportingState)};

// The value of `CReportingState::reporting` while the process reports its last error.
constexpr unsigned char kReporting = 1;
constexpr unsigned char kLastWords = 2;

[[noreturn]] void endWithDoubleError(CReportingState& state) {
    if (state.reporting != kLastWords) {
        state.reporting = kLastWords;
        try {
            ShowErrorBox(u"Double internal error!\nApplication terminated.", MB_OK);
        } catch (...) {
            // The process ends whether or not the report succeeded.
        }
    }
    Platform::TerminateThisProcess(kInternalErrorExitCode);
}

enum TStopMode { stopUnknown, stopNever, stopDebug, stopAlways };

TStopMode readStopMode(const char16_t* valueName, TStopMode defaultMode) {
    try {
        const CUnicodeString value = ReadLibrarySwitch(valueName, u"");
        if (value.CompareNoCase(u"ALWAYS") == 0)
            return stopAlways;
        if (value.CompareNoCase(u"DEBUG") == 0)
            return stopDebug;
        if (value.CompareNoCase(u"NEVER") == 0)
            return stopNever;
    } catch (CException* e) {
        e->Delete();
    }
    return defaultMode;
}

// A switch that is read on first use and cached. While one thread reads it, reports of others heed the
// default.
class CStopSwitch {
public:
    constexpr CStopSwitch(const char16_t* name, TStopMode value) : valueName(name), defaultMode(value) {}

    TStopMode Mode() {
        TStopMode mode = cached;
        if (mode == stopUnknown) {
            CMemoryManagerSwitcher toDefault(nullptr);
            cached = defaultMode; // for reports made while reading
            cached = mode = readStopMode(valueName, defaultMode);
        }
        return mode;
    }

    void Apply() {
        const TStopMode mode = Mode();
        if (mode == stopAlways || (mode == stopDebug && IsDebuggerPresent()))
            TarnBreakPoint();
    }

private:
    const char16_t* valueName;
    TStopMode defaultMode;
    std::atomic<TStopMode> cached{stopUnknown};
};

constinit CStopSwitch assertStop{u"AssertStopMode", stopDebug};
constinit CStopSwitch errorStop{u"ErrorStopMode", stopNever};

bool isThrowingAllowed() { return IsThrowingEnabled() && !IsInsideStaticPart(); }

// Shows the text that `textOf` returns, or why it failed: no exception may reach code in a static part.
template<class TextMaker>
void showInsteadOfThrowing(TextMaker textOf) {
    SetErrorFlag();
    try {
        ShowErrorBox(textOf(), MB_OK);
    } catch (CException* e) {
        ShowErrorBox(e->MessageText(), MB_OK);
        e->Delete();
    }
}

CUnicodeString textOrEmpty(const char16_t* text) { return text != nullptr ? text : u""; }

// An assertion that a user can do something about.
class CExplainedError final : public CInternalError {
public:
    CExplainedError(const char16_t* file, long line, const CUnicodeString& text)
        : CInternalError(file, line), words(text) {}

    CUnicodeString MessageText() const override { return CInternalError::MessageText() + u'\n' + words; }

private:
    CUnicodeString words;
};

CUnicodeString assertionText(const char16_t* file, long line) {
    const CUnicodeString empty, fileText = textOrEmpty(file), lineText = UnicodeStr(line);
    if (IsTarnkitInitialized() && MSG_ASSERT.IsDefined())
        return MSG_ASSERT.SubstParam(empty, fileText, lineText);
    return CUnicodeString(u"Internal Program Error:\nAssertion failed: (%0)\n%1, %2.")
        .SubstParam(empty, fileText, lineText);
}

} // namespace

// A plain report does not create a record, so that a lack of memory can be reported on a thread that has none
// yet. If there is no memory for a thread's record, reports inside other reports are not detected.
CReportingGuard::CReportingGuard(TMode mode) : toDefaultManager(nullptr), saved() {
    auto* state =
        static_cast<CReportingState*>(mode == plain ? reportingRecord.Find() : reportingRecord.Get());
    if (state == nullptr)
        return;
    if (mode != plain && state->reporting != 0)
        endWithDoubleError(*state);
    saved = *state;
    if (mode != plain)
        state->reporting = kReporting;
    if (mode == warning)
        state->warning = 1;
}

CReportingGuard::~CReportingGuard() {
    if (auto* state = static_cast<CReportingState*>(reportingRecord.Find()))
        *state = saved;
}

int ShowErrorBox(const CUnicodeString& text, unsigned buttons) {
    return MessageBoxW(text, static_cast<int>(buttons | MB_ICONHAND));
}

bool IsInsideWarning() {
    auto* state = static_cast<CReportingState*>(reportingRecord.Find());
    return state != nullptr && state->warning != 0;
}

// Throws what `make` returns or, where throwing is off, shows the text that `textOf` returns.
template<class Maker, class TextMaker>
static void report(CReportingGuard::TMode mode, const Maker& make, const TextMaker& textOf) {
    const auto exception = MakeReport(mode, [&]() -> decltype(make()) {
        if (isThrowingAllowed())
            return make();
        showInsteadOfThrowing(textOf);
        return nullptr;
    });
    if (exception != nullptr)
        throw exception;
}

void GenAssert(const char16_t* file, long line) {
    assertStop.Apply();
    report(
        CReportingGuard::assertion, [&] { return new CInternalError(file, line); },
        [&] { return assertionText(file, line); });
}

void GenAssertInWords(const char16_t* file, long line, const CUnicodeString& words) {
    assertStop.Apply();
    report(
        CReportingGuard::assertion, [&] { return new CExplainedError(file, line, words); },
        [&] { return assertionText(file, line) + u'\n' + words; });
}

void GenCheck(CError& error, const char16_t* p0, const char16_t* p1, const char16_t* p2) {
    errorStop.Apply();
    report(
        CReportingGuard::plain,
        [&] { return new CCheckException(error, textOrEmpty(p0), textOrEmpty(p1), textOrEmpty(p2)); },
        [&] { return error.SubstParam(textOrEmpty(p0), textOrEmpty(p1), textOrEmpty(p2)); });
}

void GenCheckLastError(unsigned long code) {
    errorStop.Apply();
    report(
        CReportingGuard::plain, [&] { return new CLastErrorException(code); },
        [&] { return CLastErrorException::GetErrorText(code); });
}

bool DebugStopOnAssert() { return assertStop.Mode() != stopNever; }
bool DebugStopOnCheck() { return errorStop.Mode() != stopNever; }

bool IsDebuggerPresent() { return false; }

void TarnBreakPoint() { Platform::DebugBreak(); }

void Warning(CException* e) { CMessageHandlerSwitcher::DoWarning(e); }

} // namespace Tarn
