#include "tests/containers/faults.h"
#include "tests/files/support.h"

#include <tarnkit/archive.h>
#include <tarnkit/memory_file.h>

#include <climits>
#include <cstring>

using namespace Tarn;

namespace {

// Knows the size of its block and counts its blocks.
class CWatchedFile : public CMemoryFile {
public:
    using CMemoryFile::CMemoryFile;
    ~CWatchedFile() noexcept(false) override {
        Close();
        EXPECT_EQ(blocks, 0);
    }
    Bytes Contents() const {
        return {reinterpret_cast<const char*>(GetBufferPtr()), std::size_t(GetLength())};
    }

    int capacity = 0;
    int blocks = 0;

private:
    void FreeBuffer(unsigned char* block) override {
        blocks--;
        CMemoryFile::FreeBuffer(block);
    }
    unsigned char* GrowBuffer(unsigned char* block, int oldSize, int newSize) override {
        unsigned char* grown = CMemoryFile::GrowBuffer(block, oldSize, newSize);
        capacity = newSize;
        blocks++;
        return grown;
    }
};

TEST(MemoryFile, GrowsInWholeStepsAndLosesNothingWithoutMemory) {
    CRefusingManager manager;
    CMemoryManagerSwitcher switching(&manager);
    CWatchedFile file;
    file.Write("a", 1);
    file.Write(Bytes(1023, 'b').data(), 1023);
    EXPECT_EQ(file.capacity, 1024);
    EXPECT_FALSE(manager.TryWith(0, [&] { file.Write("c", 1); }));
    EXPECT_EQ(FailureOf([&] { file.Write("c", INT_MAX); }), "memory");
    file.Write("c", 1);
    EXPECT_EQ(file.capacity, 2048);
    EXPECT_EQ(FailureOf([&] { file.SetLength(INT_MAX); }), "memory");
    EXPECT_EQ(file.Contents(), "a" + Bytes(1023, 'b') + "c");
    file.Abort();
    EXPECT_FALSE(file.IsOpen() || file.GetBufferPtr() != nullptr || file.GetLength() + file.GetPosition());
}

TEST(MemoryFile, ReadsOverwritesAndSeeksWithinItsLength) {
    CWatchedFile file;
    char bytes[8] = "";
    file.Write("abcdef", 6);
    EXPECT_EQ(file.Read(bytes, 1), 0);
    EXPECT_EQ(file.Seek(-4, CBaseFile::End), 2);
    file.Write("XY", 2);
    EXPECT_EQ(file.Read(bytes, 8), 2);
    EXPECT_EQ(file.Contents() + bytes, "abXYefef");
    for (const int offset : {1, INT_MAX, INT_MIN}) {
        file.SeekToEnd();
        EXPECT_EQ(FailureOf([&] { file.Seek(offset, CBaseFile::Current); }),
                  FileFailure(CFileException::badSeek, "MSG_MEMORY_FILE"));
        EXPECT_EQ(file.GetPosition(), 0);
    }
    file.SeekToEnd();
    file.SetLength(2);
    EXPECT_EQ(file.GetPosition(), 2);
}

TEST(MemoryFile, TakesABlockOverAndGivesItAway) {
    CWatchedFile file(1);
    file.Write("old", 3);
    file.Attach(static_cast<unsigned char*>(std::memcpy(alloc_new_array(5), "hello", 5)), 5, 0);
    EXPECT_EQ(file.blocks++, 0) << "the old block was not freed";
    char byte = 0;
    EXPECT_EQ(file.GetLength() + file.Read(&byte, 1), 0);
    file.Write("J", 1);
    file.SetLength(5);
    EXPECT_EQ(file.Contents(), "Jello");
    EXPECT_EQ(FailureOf([&] { file.SetLength(6); }), "assertion") << "grew without a step";
    alloc_delete_array(file.Detach());
    EXPECT_EQ(--file.blocks, 0);
    EXPECT_TRUE(file.IsOpen() && file.GetLength() + file.GetPosition() == 0);
    EXPECT_EQ(FailureOf([&] { file.Write("x", 1); }), "assertion") << "the step did not stay";
}

TEST(MemoryFile, AssertsMisuse) {
    CMemoryFile file;
    for (auto misuse : std::initializer_list<void (*)(CMemoryFile&)>{
             [](CMemoryFile&) { CMemoryFile(-1); }, [](CMemoryFile& f) { f.Read(nullptr, 1); },
             [](CMemoryFile& f) { f.Write("", -1); }, [](CMemoryFile& f) { f.SetLength(-1); },
             [](CMemoryFile& f) { f.Seek(0, CBaseFile::TSeekPosition(3)); },
             [](CMemoryFile& f) { f.Attach(nullptr, 1, 1); }})
        EXPECT_EQ(FailureOf([&] { misuse(file); }), "assertion");
}

} // namespace
