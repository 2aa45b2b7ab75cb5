// Shared by the container tests: elements that allocate from the current manager, and random numbers.
#pragma once

#include "tests/support/refusing_manager.h"

namespace Tarn {

/// A number in a block of its own. If it is not movable, containers copy it instead, which takes memory too.
template<bool isMovable>
class CBox {
public:
    CBox(int number = 0) : value(new int(number)) {}
    CBox(const CBox& other) : CBox(*other.value) {}
    CBox(CBox&&) noexcept requires isMovable = default;
    ~CBox() noexcept(false) {} // like that of a file, which may fail to close
    CBox& operator=(const CBox& other) {
        *value = *other.value;
        return *this;
    }
    CBox& operator=(CBox&&) noexcept requires isMovable = default;

    operator int() const { return *value; }
    friend int HashKey(const CBox& box) { return *box.value % 100; }

private:
    std::unique_ptr<int> value;
};

/// A number from 0 to `limit`, both included; the same sequence in every run.
inline int Random(int limit) {
    static std::mt19937 generator(20);
    return std::uniform_int_distribution<int>(0, limit)(generator);
}

} // namespace Tarn
