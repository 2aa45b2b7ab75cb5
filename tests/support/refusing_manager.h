// A memory manager that can refuse to allocate, and that reports blocks that were never returned.
#pragma once

#include "tests/support/failure.h"

#include <tarnkit/memory_manager.h>

namespace Tarn {

/// Allocates any number of blocks, or only as many as a test allows.
class CRefusingManager : public IMemoryManager {
public:
    ~CRefusingManager() noexcept(false) override { EXPECT_EQ(blocksOut, 0) << "blocks not returned"; }

    void* Alloc(int size) override {
        if (blocksLeft == 0)
            return nullptr;
        blocksLeft--;
        blocksOut++;
        return std::malloc(static_cast<std::size_t>(size));
    }
    void Free(void* ptr) override {
        blocksOut--;
        std::free(ptr);
    }

    /// Runs `action` while only `number` more blocks are available; false if those were not enough.
    template<class Action>
    bool TryWith(int number, Action action) {
        blocksLeft = number;
        const std::string failure = FailureOf(action);
        blocksLeft = -1;
        EXPECT_TRUE(failure == "" || failure == "memory") << failure;
        return failure == "";
    }

private:
    int blocksLeft = -1;
    int blocksOut = 0;
};

} // namespace Tarn
