// What lies where in an object. Beside each class whose shape in memory is fixed, one line says it:
//
//     TARNKIT_LAYOUT(CStackManager, 20, current, freeList, allocatedSize, minimalBlockDataSize);
//
// It compiles only when the objects consist of these fields in this order and of nothing else: the first one
// behind the virtual table when there is one, each as close to the one before as its alignment lets it, those
// of a base in front of the class's own. The number is the size in bytes on 32-bit targets; elsewhere it
// follows from the fields. A field takes whole words, unless it is a flag or an array. A class with private
// fields lets the line in by `friend struct CLayout<CStackManager>;`. The error "2 == 0" means that the
// second field is out of place. Classes with two virtual tables are not for it.
#pragma once

#include <tarnkit/data_model.h>

#include <cstddef>
#include <initializer_list>
#include <type_traits>

namespace Tarn {

/// The line about the class `Object`.
template<class Object>
struct CLayout;

/// The place of a field in its object.
struct CFieldPlace {
    std::size_t offset;
    std::size_t size;
    std::size_t alignment;
    bool isFlagOrWords;

    template<class Field>
    static constexpr CFieldPlace Of(std::size_t offset) {
        return {offset, sizeof(Field), alignof(Field),
                sizeof(Field) == 1 || sizeof(Field) % 4 == 0 || std::is_array_v<Field>};
    }

    /// Where the field, or the end of an object so aligned, belongs behind what ends at `end`.
    static constexpr std::size_t Next(std::size_t end, std::size_t alignment) {
        return (end + alignment - 1) / alignment * alignment;
    }
};

/// The number of the first field, from 1, that is not where the order of the fields puts it; one more than
/// there are fields when the object has something behind them; 0 when all is well.
template<class Object>
constexpr int MisplacedField(std::initializer_list<CFieldPlace> fields) {
    std::size_t end = std::is_polymorphic_v<Object> ? kPointerSize : 0;
    int number = 0;
    for (const CFieldPlace& field : fields) {
        number++;
        if (field.offset != CFieldPlace::Next(end, field.alignment) || !field.isFlagOrWords)
            return number;
        end = field.offset + field.size;
    }
    return CFieldPlace::Next(end, alignof(Object)) == sizeof(Object) ? 0 : number + 1;
}

} // namespace Tarn

// Stands in namespace Tarn, after the class.
#define TARNKIT_LAYOUT(Class, sizeOn32Bits, ...)                                                             \
    template<>                                                                                               \
    struct CLayout<Class> {                                                                                  \
        using Object = Class;                                                                                \
        static_assert(kPointerSize != 4 || sizeof(Object) == (sizeOn32Bits));                                \
        TARNKIT_WITH_OFFSETS(static_assert(MisplacedField<Object>({TARNKIT_PLACES(__VA_ARGS__)}) == 0);)     \
    }

// Compilers warn that `offsetof` does not hold on every platform for classes with bases or virtual functions;
// on the platforms of this library it does.
#define TARNKIT_WITH_OFFSETS(...)                                                                            \
    _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Winvalid-offsetof\"")                  \
        __VA_ARGS__ _Pragma("GCC diagnostic pop")

// The places of a list of fields: the preprocessor comes back to the rest of the list at each rescan.
#define TARNKIT_PLACES(...) __VA_OPT__(TARNKIT_RESCAN(TARNKIT_PLACES_OF(__VA_ARGS__)))
#define TARNKIT_PLACES_OF(field, ...)                                                                        \
    CFieldPlace::Of<decltype(Object::field)>(offsetof(Object, field))                                        \
        __VA_OPT__(, TARNKIT_MORE_PLACES TARNKIT_NO_ARGUMENTS(__VA_ARGS__))
#define TARNKIT_MORE_PLACES() TARNKIT_PLACES_OF
#define TARNKIT_NO_ARGUMENTS ()
#define TARNKIT_RESCAN(...)                                                                                  \
    TARNKIT_RESCAN_4(TARNKIT_RESCAN_4(TARNKIT_RESCAN_4(TARNKIT_RESCAN_4(__VA_ARGS__))))
#define TARNKIT_RESCAN_4(...)                                                                                \
    TARNKIT_RESCAN_1(TARNKIT_RESCAN_1(TARNKIT_RESCAN_1(TARNKIT_RESCAN_1(__VA_ARGS__))))
#define TARNKIT_RESCAN_1(...) __VA_ARGS__
