// What the benchmarks of files share.
#pragma once

#include <tarnkit/unicode_string.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <string>
#include <unistd.h>

/// A rival that does not do its work must not win.
inline void must(bool isDone, const char* what) {
    if (isDone)
        return;
    std::fprintf(stderr, "benchmark: %s failed\n", what);
    std::exit(1);
}

/// A folder for one rival, for as long as the benchmark runs; in memory, because a disk looks ever longer for
/// room for files that are made and removed in turn.
class ScratchFolder {
public:
    explicit ScratchFolder(int files = 0)
        : path(std::filesystem::path("/dev/shm") /
               ("tarnkit-benchmark-" + std::to_string(std::random_device()()))) {
        std::filesystem::create_directory(path);
        for (int i = 0; i < files; i++)
            close(open(In("document-" + std::to_string(i)).c_str(), O_WRONLY | O_CREAT, 0666));
    }
    ~ScratchFolder() { std::filesystem::remove_all(path); }

    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string In(const std::string& name) const { return (path / name).string(); }
    Tarn::CUnicodeString NameIn(const std::string& name) const { return (path / name).u16string().c_str(); }
    Tarn::CUnicodeString Name() const { return path.u16string().c_str(); }

private:
    std::filesystem::path path;
};
