#include <tarnkit/thread_storage.h>

#include "tests/threads/threads.h"

namespace Tarn {
namespace {

void* pointerOf(std::intptr_t value) { return reinterpret_cast<void*>(value); }

TEST(ThreadDataStorage, AllocatesSlotsThatStartAsNull) {
    CThreadDataStorage storage;
    for (int slot = 0; slot < 40; slot++) {
        EXPECT_EQ(storage.AllocSlot(), slot);
        EXPECT_EQ(storage.GetSlotData(slot), nullptr) << "in an array older than the slot";
        storage.SetSlotData(slot, pointerOf(slot + 1));
        storage.FreeSlot(slot);
    }
    for (int slot = 0; slot < 40; slot++)
        EXPECT_EQ(storage.GetSlotData(slot), pointerOf(slot + 1));
}

TEST(ThreadDataStorage, SeparatesThreadsThatUseItForTheFirstTimeTogether) {
    CThreadDataStorage storage;
    static CThreadRecord record{2};
    const int slot = storage.AllocSlot();
    std::vector<void*> blocks(16);
    CMeeting haveAllBlocks(16);
    RunOnThreads(16, [&](int i) {
        EXPECT_EQ(storage.GetSlotData(slot), nullptr);
        storage.SetSlotData(slot, pointerOf(i));
        EXPECT_EQ(record.Find(), nullptr) << "Find allocates no block";
        auto* block = static_cast<unsigned char*>(record.Get());
        EXPECT_TRUE(block[0] == 0 && block[1] == 0);
        haveAllBlocks.ArriveAndWait();
        EXPECT_EQ(record.Find(), block);
        EXPECT_EQ(storage.GetSlotData(slot), pointerOf(i));
        blocks[static_cast<std::size_t>(i)] = block;
    });
    EXPECT_EQ(std::set<void*>(blocks.begin(), blocks.end()).size(), 16u);
}

TEST(ThreadDataStorage, HoldsNothingWhenTheSystemHasNoIndexLeft) {
    std::vector<std::unique_ptr<CThreadDataStorage>> storages;
    const auto nextHolds = [&] {
        CThreadDataStorage& storage = *storages.emplace_back(std::make_unique<CThreadDataStorage>());
        const int slot = storage.AllocSlot();
        storage.SetSlotData(slot, pointerOf(5));
        return storage.GetSlotData(slot) == pointerOf(5);
    };
    while (nextHolds())
        ASSERT_LT(storages.size(), 5000u);
    storages.clear();
    EXPECT_TRUE(nextHolds()) << "the indices were freed";
}

} // namespace
} // namespace Tarn
