// Texts of messages, and what it costs to report a failure.
#include "malloc_memory.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/messages.h>
#include <tarnkit/resource_modules.h>

#include <QString>
#include <benchmark/benchmark.h>

#include <stdexcept>
#include <string>

namespace {

using namespace Tarn;

enum : int { kOriginal, kRussian, kGerman };

// The library at work, with its own translations if the language is not the original one.
class CStarted {
public:
    explicit CStarted(int language) {
        if (language != kOriginal)
            AddResourcePrefix(FileSystem::GetEXEDir(), u"Tarnkit");
        Initialize(u"Software\\Example\\Benchmarks", u"Software\\Example\\Benchmarks");
        SetCurrentLanguageCode(language);
    }
    ~CStarted() { Clean(); }
};

QString asQString(const CUnicodeString& text) { return QString::fromUtf16(text.Ptr(), text.GetLength()); }

const CUnicodeString kFile = u"letter.ini", kLine = u"1251";

void textTarnkit(benchmark::State& state) {
    const CStarted started(kRussian);
    for (auto _ : state) {
        CUnicodeString text = ERR_BAD_INI_FILE.SubstParam(kFile, kLine);
        benchmark::DoNotOptimize(&text);
        benchmark::ClobberMemory();
    }
}

void textQt(benchmark::State& state) {
    const CStarted started(kRussian);
    const QString file = asQString(kFile), line = asQString(kLine);
    const QString message = asQString(ERR_BAD_INI_FILE.UnicodeStr()).replace("%1", "%2").replace("%0", "%1");
    if (message.arg(file, line) != asQString(ERR_BAD_INI_FILE.SubstParam(kFile, kLine)))
        state.SkipWithError("the texts differ");
    for (auto _ : state) {
        QString text = message.arg(file, line);
        benchmark::DoNotOptimize(&text);
        benchmark::ClobberMemory();
    }
}

void textIn(benchmark::State& state, int language) {
    const CStarted started(kRussian);
    if (ERR_BAD_INI_FILE.UnicodeStr(language) == u"%0 is corrupted (line %1).")
        state.SkipWithError("there is no translation");
    for (auto _ : state) {
        CUnicodeString text = ERR_BAD_INI_FILE.UnicodeStr(language);
        benchmark::DoNotOptimize(&text);
        benchmark::ClobberMemory();
    }
}

void textInCurrent(benchmark::State& state) { textIn(state, kRussian); }
void textInOther(benchmark::State& state) { textIn(state, kGerman); }

// The failures leave a function of their own; their texts are handed on. Only the copy in the standard
// exception, one block in a microsecond, cannot be kept from our operator new.

using StandardString = std::basic_string<char, std::char_traits<char>, MallocAllocator<char>>;

[[gnu::noinline]] void failTarnkit(const char16_t* name) { GenCheck(ERR_BAD_ARCHIVE, name); }

[[gnu::noinline]] void failStandard(const char* name) {
    throw std::runtime_error((StandardString(name) + " is corrupted.").c_str());
}

CUnicodeString caughtTarnkit() {
    CUnicodeString text;
    try {
        failTarnkit(u"a document.txt");
    } catch (CException* e) {
        text = e->MessageText();
        e->Delete();
    }
    return text;
}

StandardString caughtStandard() {
    try {
        failStandard("a document.txt");
    } catch (const std::exception& e) {
        return e.what();
    }
    return {};
}

void failureTarnkit(benchmark::State& state) {
    const CStarted started(kOriginal);
    if (caughtTarnkit().CreateString(65001).Ptr() != caughtStandard())
        state.SkipWithError("the texts differ");
    for (auto _ : state)
        benchmark::DoNotOptimize(caughtTarnkit());
}

void failureStandard(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(caughtStandard());
}

} // namespace

BENCHMARK(textTarnkit)->Name("messages/text/CMessage");
BENCHMARK(textQt)->Name("messages/text/QString-arg");
BENCHMARK(textInCurrent)->Name("messages/plain/CMessage");
BENCHMARK(textInOther)->Name("messages/other-language/CMessage");
BENCHMARK(failureTarnkit)->Name("messages/failure/GenCheck");
BENCHMARK(failureStandard)->Name("messages/failure/std::runtime_error");
