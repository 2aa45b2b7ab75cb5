#include "faults.h"

#include <tarnkit/pointer_array.h>

using namespace Tarn;

TEST(PointerArray, AssertsOnWrongRangesAtDocumentedLines) {
    int numbers[3] = {};
    CPointerArray<int> array;
    for (int& number : numbers)
        array.Add(&number);
    const struct {
        int start, number;
        const char16_t* assertion;
    } cases[] = {{-1, 0, u"pointerarray:374"}, {4, 0, u"pointerarray:374"}, {3, 0, u"none"},
                 {1, -1, u"pointerarray:375"}, {3, 1, u"pointerarray:376"}, {1, 3, u"pointerarray:376"}};
    for (auto& c : cases)
        EXPECT_EQ(AssertionOf([&] { array.DeleteAt(c.start, c.number); }), c.assertion);
    EXPECT_EQ(array.Size(), 3);
    array.DeleteAt(0, 2);
    EXPECT_EQ(array.Find(&numbers[2]), 0);
    EXPECT_FALSE(array.Has(&numbers[0]));
}
