// What the container tests share: a manager that refuses when told to and misses every block that is not
// returned, and elements that live in its blocks.
#pragma once

#include "tests/support/assertion.h"
#include "tests/support/failure.h"

#include <tarnkit/memory_manager.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <utility>

namespace Tarn {

/// Serves any number of blocks, or as many as a test allows.
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

    /// Runs `action` with only `number` blocks to be had; false when that was not enough for it.
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

/// A number in a block of its own. One that is not movable needs memory for every copy, when it moves up too.
template<bool isMovable>
class CBox {
public:
    CBox(int number = 0) : value(new int(number)) {}
    CBox(const CBox& other) : CBox(*other.value) {}
    CBox(CBox&& other) noexcept requires isMovable : value(std::exchange(other.value, nullptr)) {}
    CBox& operator=(const CBox& other) {
        *value = *other.value;
        return *this;
    }
    CBox& operator=(CBox&& other) noexcept requires isMovable {
        std::swap(value, other.value);
        return *this;
    }
    ~CBox() { delete value; }

    operator int() const { return *value; }
    friend int HashKey(const CBox& box) { return *box.value % 100; }

private:
    int* value;
};

/// 0 to `limit`, both included; the same sequence in every run.
inline int Random(int limit) {
    static std::mt19937 generator(20);
    return std::uniform_int_distribution<int>(0, limit)(generator);
}

} // namespace Tarn
