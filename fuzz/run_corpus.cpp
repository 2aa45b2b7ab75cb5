// Runs each fuzzer on the inputs of its corpus, without a fuzzing engine: tarnkit_corpus FOLDER, which has a
// folder for each subject.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" {
#define TARNKIT_SUBJECT(name) int TestOne_##name(const unsigned char* data, std::size_t size);
TARNKIT_SUBJECTS
#undef TARNKIT_SUBJECT
}

namespace {

namespace fs = std::filesystem;

using Fuzzer = int(const unsigned char*, std::size_t);

int run(Fuzzer& fuzzer, const fs::path& corpus) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(corpus))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
        std::fprintf(stderr, "%s\n", file.string().c_str()); // the last one is that at which it stopped
        std::ifstream stream(file, std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(stream), {});
        fuzzer(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    }
    return static_cast<int>(files.size());
}

} // namespace

int main(int argc, char** argv) {
    int inputs = 0;
    const fs::path corpus = argc > 1 ? argv[1] : "";
    bool isComplete = true;
#define TARNKIT_SUBJECT(name)                                                                                \
    {                                                                                                        \
        const int count = run(TestOne_##name, corpus / #name);                                               \
        isComplete = isComplete && count > 0;                                                                \
        inputs += count;                                                                                     \
    }
    TARNKIT_SUBJECTS
#undef TARNKIT_SUBJECT
    std::printf("%d inputs\n", inputs);
    return isComplete ? 0 : 1;
}
