#include "platform/posix/support/handle_table.h"

#include "tests/support/capabilities.h"

#include <map>
#include <random>
#include <vector>

namespace Tarn::Platform::Posix {

TEST(HandleTable, KnowsOpenHandlesFromClosedOnes) {
    HandleTable<int> table;
    std::map<void*, int> open;
    std::vector<void*> closed = {nullptr, INVALID_HANDLE_VALUE, HKEY_CURRENT_USER};
    std::minstd_rand random(20260119);
    for (int step = 0; step < 20'000; step++) {
        // Grows to several hundred open handles and shrinks to none, in turn.
        if (const bool isGrowing = step / 2000 % 2 == 0; random() % 3 < (isGrowing ? 2u : 1u)) {
            void* const handle = table.Open(step);
            ASSERT_TRUE(open.emplace(handle, step).second) << "step " << step;
        } else if (!open.empty()) {
            const auto chosen = std::next(open.begin(), static_cast<long>(random() % open.size()));
            table.Close(chosen->first);
            closed.push_back(chosen->first);
            open.erase(chosen);
        }
        for (const auto& [handle, entry] : open)
            if (random() % 100 == 0) {
                const int* found = table.Find(handle);
                ASSERT_TRUE(found != nullptr && *found == entry) << "step " << step;
            }
        ASSERT_EQ(table.Find(closed[random() % closed.size()]), nullptr) << "step " << step;
        table.Release(); // nothing while a handle is open
        if (open.empty())
            closed.resize(3); // the table begins anew
    }
    for (const auto& [handle, entry] : open)
        table.Close(handle);
    table.Release();
}

} // namespace Tarn::Platform::Posix
