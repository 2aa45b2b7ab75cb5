// Storing and loading a million numbers and a hundred thousand texts: an archive on a file against the C
// runtime's stream, value by value through buffers of the same size, into the same bytes, and against cereal,
// which has a format of its own. The rivals "one-fwrite" and "one-fread" move those bytes in a single call,
// which measures the system alone.
#include "malloc_memory.h"

#include <tarnkit/archive.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>

#include <benchmark/benchmark.h>
#include <cereal/archives/binary.hpp>
#include <cereal/types/string.hpp>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace Tarn;

constexpr int kNumbers = 1'000'000;
constexpr int kTexts = 100'000;
constexpr int kBufferSize = 4096;
constexpr int kLongestText = 60;

using StandardString = MallocString<char16_t>;

// A rival that does not do its work must not win.
void must(bool isDone, const char* what) {
    if (isDone)
        return;
    std::fprintf(stderr, "benchmark: %s failed\n", what);
    std::exit(1);
}

const std::vector<int>& numbers() {
    static const std::vector<int> result = [] {
        std::mt19937 random(3);
        std::vector<int> values(kNumbers);
        for (int& value : values)
            value = static_cast<int>(random());
        return values;
    }();
    return result;
}

template<class String>
const std::vector<String>& texts() {
    static const std::vector<String> result = [] {
        std::mt19937 random(4);
        std::vector<String> values;
        for (int i = 0; i < kTexts; i++) {
            StandardString text(random() % (kLongestText + 1), u' ');
            for (char16_t& unit : text)
                unit = static_cast<char16_t>(u'a' + random() % 26);
            values.emplace_back(text.c_str());
        }
        return values;
    }();
    return result;
}

// A file for one pair of rivals, in the temporary directory for as long as the benchmarks run.
class ScratchFile {
public:
    explicit ScratchFile(const char* what)
        : path(std::filesystem::temp_directory_path() /
               ("tarnkit-benchmark-" + std::to_string(std::random_device()()) + "-" + what)) {}
    ~ScratchFile() { std::filesystem::remove(path); }

    CUnicodeString Name() const { return path.u16string().c_str(); }
    std::string RuntimeName() const { return path.string(); }

private:
    std::filesystem::path path;
};

// An archive on a file.
class Archive {
public:
    Archive(const ScratchFile& scratch, CArchive::TDirection direction)
        : file(scratch.Name(), direction == CArchive::Storing ? CFile::ForWriting | CFile::Create
                                                              : CFile::ForReading | CFile::DenyWrite),
          archive(&file, direction, kBufferSize) {}

    using String = CUnicodeString;

    void Store(int value) { archive << value; }
    void Store(const String& text) { archive << text; }
    void Load(int& value) { archive >> value; }
    void Load(String& text) { archive >> text; }
    void Close() {
        archive.Close();
        file.Close();
    }

private:
    CFile file;
    CArchive archive;
};

// The C runtime's stream, with the format of the archive written by hand: texts here are shorter than the
// 255 units from which on a length takes more than a byte.
class Stream {
public:
    Stream(const ScratchFile& scratch, CArchive::TDirection direction)
        : file(std::fopen(scratch.RuntimeName().c_str(), direction == CArchive::Storing ? "wb" : "rb")) {
        must(file != nullptr, "fopen");
        must(std::setvbuf(file, nullptr, _IOFBF, kBufferSize) == 0, "setvbuf");
    }

    using String = StandardString;

    void Store(int value) { must(std::fwrite(&value, sizeof(value), 1, file) == 1, "fwrite"); }
    void Store(const String& text) {
        const auto length = static_cast<unsigned char>(text.size());
        must(std::fwrite(&length, 1, 1, file) == 1, "fwrite");
        must(std::fwrite(text.data(), sizeof(char16_t), length, file) == length, "fwrite");
    }
    void Load(int& value) { must(std::fread(&value, sizeof(value), 1, file) == 1, "fread"); }
    void Load(String& text) {
        unsigned char length;
        must(std::fread(&length, 1, 1, file) == 1, "fread");
        text.resize(length);
        must(std::fread(text.data(), sizeof(char16_t), length, file) == length, "fread");
    }
    void Close() { must(std::fclose(file) == 0, "fclose"); }

private:
    std::FILE* file;
};

// cereal's binary archive, on a stream of the standard library.
class Cereal {
public:
    Cereal(const ScratchFile& scratch, CArchive::TDirection direction) {
        file.rdbuf()->pubsetbuf(buffer, kBufferSize);
        file.open(scratch.RuntimeName(),
                  std::ios::binary |
                      (direction == CArchive::Storing ? std::ios::out | std::ios::trunc : std::ios::in));
        must(file.is_open(), "opening a stream");
    }

    using String = StandardString;

    template<class Value>
    void Store(const Value& value) {
        output(value);
    }
    template<class Value>
    void Load(Value& value) {
        input(value);
    }
    void Close() {
        file.close();
        must(file.good(), "closing a stream");
    }

private:
    char buffer[kBufferSize];
    std::fstream file;
    cereal::BinaryOutputArchive output{file};
    cereal::BinaryInputArchive input{file};
};

const std::vector<int>& valuesOf(int) { return numbers(); }
template<class String>
const std::vector<String>& valuesOf(const String&) {
    return texts<String>();
}

template<class Rival, class Value>
void storeAll(const ScratchFile& scratch) {
    Rival rival(scratch, CArchive::Storing);
    for (const Value& value : valuesOf(Value()))
        rival.Store(value);
    rival.Close();
}

template<class Rival, class Value>
void store(benchmark::State& state) {
    const ScratchFile scratch("store");
    for (auto _ : state)
        storeAll<Rival, Value>(scratch);
}

// Loads what `Writer` stored, and checks the values. The runtime's stream reads what the archive stored.
template<class Rival, class Value, class Writer, class StoredValue>
void load(benchmark::State& state) {
    const ScratchFile scratch("load");
    storeAll<Writer, StoredValue>(scratch);
    const std::vector<Value>& expected = valuesOf(Value());
    std::vector<Value> values(expected.size());
    for (auto _ : state) {
        Rival rival(scratch, CArchive::Loading);
        for (Value& value : values)
            rival.Load(value);
        rival.Close();
        state.PauseTiming();
        must(values == expected, "loading the same values");
        values.clear(); // an assigned text would keep its memory
        values.resize(expected.size());
        state.ResumeTiming();
    }
}

// The bytes of a whole archive in one call.
template<class Value>
void storeAtOnce(benchmark::State& state) {
    const ScratchFile scratch("store");
    storeAll<Archive, Value>(scratch);
    const auto size = static_cast<std::size_t>(std::filesystem::file_size(scratch.RuntimeName()));
    const std::vector<char> bytes(size);
    for (auto _ : state) {
        std::FILE* file = std::fopen(scratch.RuntimeName().c_str(), "wb");
        must(file != nullptr, "fopen");
        must(std::fwrite(bytes.data(), 1, size, file) == size, "fwrite");
        must(std::fclose(file) == 0, "fclose");
    }
}

template<class Value>
void loadAtOnce(benchmark::State& state) {
    const ScratchFile scratch("load");
    storeAll<Archive, Value>(scratch);
    const auto size = static_cast<std::size_t>(std::filesystem::file_size(scratch.RuntimeName()));
    std::vector<char> bytes(size);
    for (auto _ : state) {
        std::FILE* file = std::fopen(scratch.RuntimeName().c_str(), "rb");
        must(file != nullptr, "fopen");
        must(std::fread(bytes.data(), 1, size, file) == size, "fread");
        must(std::fclose(file) == 0, "fclose");
    }
}

} // namespace

BENCHMARK(store<Archive, int>)->Name("ints/store/CArchive")->Unit(benchmark::kMillisecond);
BENCHMARK(store<Stream, int>)->Name("ints/store/fwrite")->Unit(benchmark::kMillisecond);
BENCHMARK(store<Cereal, int>)->Name("ints/store/cereal")->Unit(benchmark::kMillisecond);
BENCHMARK(storeAtOnce<int>)->Name("ints/store/one-fwrite")->Unit(benchmark::kMillisecond);
BENCHMARK(load<Archive, int, Archive, int>)->Name("ints/load/CArchive")->Unit(benchmark::kMillisecond);
BENCHMARK(load<Stream, int, Archive, int>)->Name("ints/load/fread")->Unit(benchmark::kMillisecond);
BENCHMARK(load<Cereal, int, Cereal, int>)->Name("ints/load/cereal")->Unit(benchmark::kMillisecond);
BENCHMARK(loadAtOnce<int>)->Name("ints/load/one-fread")->Unit(benchmark::kMillisecond);

using TarnkitText = CUnicodeString;
BENCHMARK(store<Archive, TarnkitText>)->Name("texts/store/CArchive")->Unit(benchmark::kMillisecond);
BENCHMARK(store<Stream, StandardString>)->Name("texts/store/fwrite")->Unit(benchmark::kMillisecond);
BENCHMARK(store<Cereal, StandardString>)->Name("texts/store/cereal")->Unit(benchmark::kMillisecond);
BENCHMARK(storeAtOnce<TarnkitText>)->Name("texts/store/one-fwrite")->Unit(benchmark::kMillisecond);
BENCHMARK(load<Archive, TarnkitText, Archive, TarnkitText>)
    ->Name("texts/load/CArchive")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(load<Stream, StandardString, Archive, TarnkitText>)
    ->Name("texts/load/fread")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(load<Cereal, StandardString, Cereal, StandardString>)
    ->Name("texts/load/cereal")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(loadAtOnce<TarnkitText>)->Name("texts/load/one-fread")->Unit(benchmark::kMillisecond);
