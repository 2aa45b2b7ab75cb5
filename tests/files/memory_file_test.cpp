#include "tests/files/support.h"
#include "tests/support/refusing_manager.h"

#include <cstring>
#include <set>

using namespace Tarn;

namespace {

// Keeps its contents in a member, where they never move.
class CFixedFile : public CMemoryFile {
public:
    int blocks = 0;

private:
    unsigned char room[2 * kDefaultGrowthStep];

    void FreeBuffer(unsigned char*) override { blocks--; }
    unsigned char* GrowBuffer(unsigned char*, int, int) override {
        blocks = 1;
        return room;
    }
};

TEST(MemoryFile, GrowsInWholeStepsAndLosesNothingWhenMemoryRunsOut) {
    CRefusingManager manager;
    CMemoryManagerSwitcher switching(&manager);
    CMemoryFile file;
    file.Write("a", 1);
    EXPECT_TRUE(manager.TryWith(0, [&] { file.SetLength(1024); }));
    EXPECT_FALSE(manager.TryWith(0, [&] { file.SetLength(1025); }));
    EXPECT_EQ(FailureOf([&] { file.SetLength(INT_MAX); }), "memory");
    EXPECT_EQ(FailureOf([&] { file.Write("c", INT_MAX); }), "memory");
    file.SeekToEnd();
    file.Write("c", 1);
    EXPECT_EQ(file.GetBufferPtr()[0], 'a');
    EXPECT_EQ(file.GetBufferPtr()[1024], 'c');
    EXPECT_TRUE(manager.TryWith(0, [&] { file.SetLength(2048); }));
    file.Abort();
    EXPECT_FALSE(file.IsOpen());
    EXPECT_TRUE(file.GetBufferPtr() == nullptr && file.GetLength() == 0 && file.GetPosition() == 0);
}

TEST(MemoryFile, IsCopiedAFewTimesHoweverSmallItsStepsAre) {
    CMemoryFile file(16);
    std::set<const unsigned char*> blocks;
    for (int i = 0; i < 0x40000; i++) {
        file.Write(&i, sizeof i);
        blocks.insert(file.GetBufferPtr());
    }
    EXPECT_LT(blocks.size(), 0x1000 / 16 + 50u);
    for (int i = 0; i < 0x40000; i++)
        ASSERT_EQ(std::memcmp(file.GetBufferPtr() + 4 * i, &i, sizeof i), 0);
    file.Attach(static_cast<unsigned char*>(alloc_new_array(0x2000)), 0x2000, 16);
    file.SetLength(0x2010); // not into what would be room in a block of its own
}

TEST(MemoryFile, ReadsOverwritesAndSeeksWithinItsLength) {
    CFixedFile file;
    char bytes[8] = "";
    file.Write("abcdef", 6);
    EXPECT_EQ(file.Read(bytes, 1), 0);
    EXPECT_EQ(file.Seek(-4, CBaseFile::End), 2);
    file.Write("XY", 2);
    EXPECT_EQ(file.Read(bytes, 8), 2);
    EXPECT_EQ(BytesOf(file) + bytes, "abXYefef");
    for (const int offset : {1, INT_MAX, INT_MIN}) {
        file.SeekToEnd();
        EXPECT_EQ(FailureOf([&] { file.Seek(offset, CBaseFile::Current); }),
                  FileFailure(CFileException::badSeek, "MSG_MEMORY_FILE"));
        EXPECT_EQ(file.GetPosition(), 0);
    }
    file.SeekToEnd();
    file.SetLength(2);
    EXPECT_EQ(file.GetPosition(), 2);
    file.Close();
    EXPECT_EQ(file.blocks, 0);
}

TEST(MemoryFile, AttachesAndDetachesABlock) {
    CRefusingManager manager;
    CMemoryManagerSwitcher switching(&manager);
    CMemoryFile file(1);
    file.Write("old", 3);
    file.Attach(static_cast<unsigned char*>(std::memcpy(alloc_new_array(5), "hello", 5)), 5, 0);
    char byte = 0;
    EXPECT_TRUE(file.GetLength() == 0 && file.Read(&byte, 1) == 0);
    file.Write("J", 1);
    file.SetLength(5);
    EXPECT_EQ(BytesOf(file), "Jello");
    EXPECT_EQ(FailureOf([&] { file.SetLength(6); }), "assertion") << "there is no step to grow by";
    alloc_delete_array(file.Detach());
    EXPECT_TRUE(file.IsOpen() && file.GetLength() == 0 && file.GetPosition() == 0);
    EXPECT_EQ(FailureOf([&] { file.Write("x", 1); }), "assertion") << "the step is still 0 after Detach";
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
