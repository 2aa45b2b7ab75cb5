// Files by name, temporary files, and text, against the system's calls and the streams of Qt and the C
// library. Both sides do the same work in folders of their own, and their results are compared before they
// are timed.
#include "scratch_folder.h"

#include <tarnkit/archive.h>
#include <tarnkit/buffered_file.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/temp_file.h>
#include <tarnkit/text_stream.h>

#include <benchmark/benchmark.h>

#include <QFile>
#include <QString>
#include <QStringConverter>
#include <QTextStream>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace Tarn;

constexpr unsigned kUtf8 = 65001;
constexpr unsigned kCyrillic = 1251;
constexpr int kLines = 20'000;
constexpr int kValues = 10'000;

// The first two searches read a folder; the rows are about those that follow.
void lookTwice(const CUnicodeString& name) {
    for (int i = 0; i < 2; i++)
        must(!FileSystem::AccessFile(name, 0), "a missing file");
}

// Whether a file is there whose name nobody has, in a folder of that many.
void missing(benchmark::State& state) {
    const ScratchFolder folder(static_cast<int>(state.range(0)));
    const CUnicodeString name = folder.NameIn("Missing");
    lookTwice(name);
    for (auto _ : state)
        must(!FileSystem::AccessFile(name, 0), "a missing file");
}

void missingBare(benchmark::State& state) {
    const ScratchFolder folder(static_cast<int>(state.range(0)));
    const std::string name = folder.In("Missing");
    for (auto _ : state)
        must(access(name.c_str(), F_OK) != 0, "a missing file");
}

constexpr char kText[] = "A few words, as a small document has them.";

// A document is made, written, closed, opened, read and closed; its folder has that many others. Its removal
// is not timed.
void newFile(benchmark::State& state) {
    const ScratchFolder folder(static_cast<int>(state.range(0)));
    const CUnicodeString name = folder.NameIn("New");
    const std::string bareName = folder.In("New");
    lookTwice(name);
    for (auto _ : state) {
        char read[sizeof kText] = {};
        CFile file(name, CFile::ForWriting | CFile::Create);
        file.Write(kText, sizeof kText);
        file.Close();
        file.Open(name, CFile::ForReading | CFile::DenyWrite);
        must(file.Read(read, sizeof read) == sizeof kText && std::strcmp(read, kText) == 0, "reading");
        file.Close();
        state.PauseTiming();
        unlink(bareName.c_str());
        state.ResumeTiming();
    }
}

void newFileBare(benchmark::State& state) {
    const ScratchFolder folder(static_cast<int>(state.range(0)));
    const std::string name = folder.In("New");
    for (auto _ : state) {
        char copy[sizeof kText] = {};
        int file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        must(write(file, kText, sizeof kText) == sizeof kText && close(file) == 0, "writing");
        file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
        must(read(file, copy, sizeof copy) == sizeof kText && std::strcmp(copy, kText) == 0, "reading");
        must(close(file) == 0, "closing");
        state.PauseTiming();
        unlink(name.c_str());
        state.ResumeTiming();
    }
}

// Another temporary file while there are that many, and its removal.
void temporary(benchmark::State& state) {
    const ScratchFolder folder;
    TempFile::SetTemporaryDir(folder.Name());
    for (int i = 0; i < state.range(0); i++)
        TempFile::New(nullptr);
    for (auto _ : state)
        TempFile::Delete(TempFile::New(nullptr));
    TempFile::DeleteAll();
}

void temporaryBare(benchmark::State& state) {
    const ScratchFolder folder(static_cast<int>(state.range(0)));
    const std::string pattern = folder.In("tmpXXXXXX");
    for (auto _ : state) {
        std::string name = pattern;
        const int file = mkstemp(name.data());
        must(file >= 0 && close(file) == 0 && unlink(name.c_str()) == 0, "mkstemp");
    }
}

// Lines of a few words, Latin and Cyrillic.
const QString& qtText() {
    static const QString text = [] {
        std::mt19937 random(5);
        QString lines;
        for (int i = 0; i < kLines; i++) {
            const int words = static_cast<int>(random() % 12);
            for (int k = 0; k < words; k++)
                lines += random() % 2 == 0 ? QStringLiteral("word ")
                                           : QStringLiteral("\u0441\u043B\u043E\u0432\u043E ");
            lines += QStringLiteral("end\n");
        }
        return lines;
    }();
    return text;
}

CUnicodeString textOf(const QString& text) {
    return CUnicodeString(reinterpret_cast<const char16_t*>(text.utf16()));
}

// The same lines on disk: in UTF-8, in UTF-16 and in 1251.
class Lines {
public:
    explicit Lines(unsigned codePage) : file(folder.NameIn("lines")), bareFile(folder.In("lines")) {
        CFile::WriteANSIText(file, textOf(qtText()), codePage);
    }

    ScratchFolder folder;
    CUnicodeString file;
    std::string bareFile;
};

template<unsigned codePage>
void readLines(benchmark::State& state) {
    const Lines lines(codePage);
    for (auto _ : state) {
        CArray<CUnicodeString> read;
        CFile::ReadText(lines.file, read, codePage);
        must(read.Size() == kLines + 1, "reading lines");
    }
    CArray<CUnicodeString> read;
    CFile::ReadText(lines.file, read, codePage);
    CUnicodeString all;
    for (int i = 0; i < kLines; i++)
        all += read[i] + u"\n";
    must(all == textOf(qtText()), "reading the same lines");
}

void readLinesQt(benchmark::State& state) {
    const Lines lines(kUtf8);
    for (auto _ : state) {
        QFile file(QString::fromStdString(lines.bareFile));
        must(file.open(QIODevice::ReadOnly), "QFile");
        QTextStream stream(&file);
        std::vector<QString> read;
        for (QString line; stream.readLineInto(&line);)
            read.push_back(line);
        must(read.size() == kLines, "QTextStream");
    }
}

// 8-bit lines, one at a time.
void readLinesOneByOne(benchmark::State& state) {
    const Lines lines(kUtf8);
    for (auto _ : state) {
        CFile file(lines.file, CFile::ForReading | CFile::DenyWrite);
        CArchive archive(&file, CArchive::Loading);
        int count = 0;
        Int64 units = 0;
        for (CString line; archive.ReadString(line); count++)
            units += line.GetLength();
        must(count == kLines, "CArchive::ReadString");
        benchmark::DoNotOptimize(units);
        archive.Close();
        file.Close();
    }
}

void getLines(benchmark::State& state) {
    const Lines lines(kUtf8);
    char* line = nullptr;
    std::size_t room = 0;
    for (auto _ : state) {
        std::FILE* file = std::fopen(lines.bareFile.c_str(), "rb");
        must(file != nullptr, "fopen");
        int count = 0;
        Int64 units = 0;
        for (ssize_t size; (size = getline(&line, &room, file)) > 0; count++)
            units += size;
        must(count == kLines && std::fclose(file) == 0, "getline");
        benchmark::DoNotOptimize(units);
    }
    std::free(line);
}

// Lines one at a time into a file that is there; nothing is stored on the disk in the end.
void writeLines(benchmark::State& state) {
    const Lines lines(kUtf8);
    CArray<CUnicodeString> texts;
    CFile::ReadText(lines.file, texts, kUtf8);
    for (auto _ : state) {
        CFile file(lines.file, CFile::ForWriting | CFile::Create);
        CArchive archive(&file, CArchive::Storing, 16384); // as much as the peer gathers
        for (int i = 0; i < kLines; i++)
            archive.WriteString(texts[i].CreateString(kUtf8), true);
        archive.Close();
        file.Close();
    }
}

void writeLinesQt(benchmark::State& state) {
    const Lines lines(kUtf8);
    const QStringList texts = qtText().split(u'\n');
    for (auto _ : state) {
        QFile file(QString::fromStdString(lines.bareFile));
        must(file.open(QIODevice::WriteOnly), "QFile");
        QTextStream stream(&file);
        for (int i = 0; i < kLines; i++)
            stream << texts[i] << "\r\n";
        stream.flush();
        must(stream.status() == QTextStream::Ok, "QTextStream");
    }
}

// The whole file in one call, which stores it and then puts it in the place of the old one.
void saveLines(benchmark::State& state) {
    const Lines lines(kUtf8);
    CArray<CUnicodeString> texts;
    CFile::ReadText(lines.file, texts, kUtf8);
    for (auto _ : state)
        CFile::WriteANSIText(lines.file, texts, kUtf8);
}

// Values as text.
void streamValues(benchmark::State& state, bool isGathered) {
    const ScratchFolder folder;
    const CUnicodeString name = folder.NameIn("values");
    for (auto _ : state) {
        CFile file(name, CFile::ForWriting | CFile::Create);
        CBufferedFile buffered(&file);
        CTextStream stream(isGathered ? static_cast<CBaseFile*>(&buffered) : &file, CTextStream::ANSI);
        for (int i = 0; i < kValues; i++)
            stream << i << " is a number\n";
        buffered.Close();
    }
    must(std::filesystem::file_size(folder.In("values")) == kValues * 13 + 38890, "CTextStream");
}

void streamValuesQt(benchmark::State& state) {
    const ScratchFolder folder;
    const std::string name = folder.In("values");
    for (auto _ : state) {
        QFile file(QString::fromStdString(name));
        must(file.open(QIODevice::WriteOnly), "QFile");
        QTextStream stream(&file);
        for (int i = 0; i < kValues; i++)
            stream << i << " is a number\n";
    }
    must(std::filesystem::file_size(name) == kValues * 13 + 38890, "QTextStream");
}

// The same, each value in a call of the system.
void writeEachValue(benchmark::State& state) {
    const ScratchFolder folder;
    const std::string name = folder.In("values");
    for (auto _ : state) {
        const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        for (int i = 0; i < kValues; i++) {
            const std::string number = std::to_string(i);
            must(write(file, number.data(), number.size()) > 0 && write(file, " is a number\n", 13) == 13,
                 "write");
        }
        close(file);
    }
    must(std::filesystem::file_size(name) == kValues * 13 + 38890, "write");
}

} // namespace

BENCHMARK(missing)->Name("missing/AccessFile")->RangeMultiplier(10)->Range(100, 10'000);
BENCHMARK(missingBare)->Name("missing/access")->RangeMultiplier(10)->Range(100, 10'000);
BENCHMARK(newFile)->Name("new/CFile")->RangeMultiplier(10)->Range(1, 10'000);
BENCHMARK(newFileBare)->Name("new/open")->RangeMultiplier(10)->Range(1, 10'000);
BENCHMARK(temporary)->Name("temporary/TempFile")->Arg(40)->Arg(400)->Arg(4'000);
BENCHMARK(temporaryBare)->Name("temporary/mkstemp")->Arg(40)->Arg(400)->Arg(4'000);
BENCHMARK(readLines<kUtf8>)->Name("lines/UTF-8/ReadText");
BENCHMARK(readLines<kCyrillic>)->Name("lines/1251/ReadText");
BENCHMARK(readLinesQt)->Name("lines/UTF-8/QTextStream");
BENCHMARK(readLinesOneByOne)->Name("lines/8-bit/ReadString");
BENCHMARK(getLines)->Name("lines/8-bit/getline");
BENCHMARK(writeLines)->Name("lines/write/WriteString");
BENCHMARK(saveLines)->Name("lines/write/WriteANSIText");
BENCHMARK(writeLinesQt)->Name("lines/write/QTextStream");
BENCHMARK_CAPTURE(streamValues, , false)->Name("values/CTextStream");
BENCHMARK_CAPTURE(streamValues, , true)->Name("values/CBufferedFile");
BENCHMARK(streamValuesQt)->Name("values/QTextStream");
BENCHMARK(writeEachValue)->Name("values/write");
