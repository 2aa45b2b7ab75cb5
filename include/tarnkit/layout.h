/// \file
/// `TARNKIT_LAYOUT`: a check, at compile time, of where the fields of a class lie in memory.
///
/// The line follows the class, in namespace Tarn. It compiles only if the objects consist of these fields, in
/// this order, and of nothing else: the first one after the pointer to the virtual table, if there is one;
/// each as close to the one before as its alignment allows; those of a base class first. The number is the
/// size in bytes on 32-bit targets; on others the size follows from the fields. A field must be a flag, an
/// array, or of a size of whole 4-byte words. A class with private fields makes the check its friend. The
/// error "2 == 0" means that the second field is out of place. Classes with more than one virtual table
/// cannot be checked.
///
/// \code
/// class CPosition {
///     int line, column;
///     friend struct CLayout<CPosition>;
/// };
/// TARNKIT_LAYOUT(CPosition, 8, line, column);
/// \endcode
#pragma once

#include <tarnkit/data_model.h>

#include <cstddef>
#include <initializer_list>
#include <type_traits>

namespace Tarn {

/// The check of the class `Object`.
template<class Object>
struct CLayout;

/// Where a field lies in its object.
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

    /// The first multiple of `alignment` from `end` on.
    static constexpr std::size_t Next(std::size_t end, std::size_t alignment) {
        return (end + alignment - 1) / alignment * alignment;
    }
};

/// Returns the number, from 1, of the first field that is not directly after the one before it; one more than
/// the number of fields if the object has something after the last one; 0 if all is well.
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

/// The check of `Class`, whose fields follow its size.
#define TARNKIT_LAYOUT(Class, sizeOn32Bits, ...)                                                             \
    template<>                                                                                               \
    struct CLayout<Class> {                                                                                  \
        using Object = Class;                                                                                \
        static_assert(kPointerSize != 4 || sizeof(Object) == (sizeOn32Bits));                                \
        TARNKIT_WITH_OFFSETS(static_assert(MisplacedField<Object>({TARNKIT_PLACES(__VA_ARGS__)}) == 0);)     \
    }

/// \cond
// Compilers warn that `offsetof` may not work for classes with bases or virtual functions; on all targets of
// this library it does.
#define TARNKIT_WITH_OFFSETS(...)                                                                            \
    _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Winvalid-offsetof\"")                  \
        __VA_ARGS__ _Pragma("GCC diagnostic pop")

// The places of up to twelve fields.
#define TARNKIT_PLACES(...)                                                                                  \
    __VA_OPT__(TARNKIT_MACRO_FOR_COUNT(__VA_ARGS__, TARNKIT_PLACES_12, TARNKIT_PLACES_11, TARNKIT_PLACES_10, \
                                       TARNKIT_PLACES_9, TARNKIT_PLACES_8, TARNKIT_PLACES_7,                 \
                                       TARNKIT_PLACES_6, TARNKIT_PLACES_5, TARNKIT_PLACES_4,                 \
                                       TARNKIT_PLACES_3, TARNKIT_PLACES_2, TARNKIT_PLACES_1)(__VA_ARGS__))
#define TARNKIT_MACRO_FOR_COUNT(f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12, macro, ...) macro
#define TARNKIT_PLACES_1(field) CFieldPlace::Of<decltype(Object::field)>(offsetof(Object, field))
#define TARNKIT_PLACES_2(field, ...) TARNKIT_PLACES_1(field), TARNKIT_PLACES_1(__VA_ARGS__)
#define TARNKIT_PLACES_3(field, ...) TARNKIT_PLACES_1(field), TARNKIT_PLACES_2(__VA_ARGS__)
#define TARNKIT_PLACES_4(field, ...) TARNKIT_PLACES_1(field), TARNKIT_PLACES_3(__VA_ARGS__)
#define TARNKIT_PLACES_5(field, ...) TARNKIT_PLACES_1(field), TARNKIT_PLACES_4(__VA_ARGS__)
#define TARNKIT_PLACES_6(field, ...) TARNKIT_PLACES_1(field), TARNKIT_PLACES_5(__VA_ARGS__)
#define TARNKIT_PLACES_7(field, ...) TARNKIT_PLACES_1(field), TARNKIT_PLACES_6(__VA_ARGS__)
#define TARNKIT_PLACES_8(field, ...) TARNKIT_PLACES_1(field), TARNKIT_PLACES_7(__VA_ARGS__)
#define TARNKIT_PLACES_9(field, ...) TARNKIT_PLACES_1(field), TARNKIT_PLACES_8(__VA_ARGS__)
#define TARNKIT_PLACES_10(field, ...) TARNKIT_PLACES_1(field), TARNKIT_PLACES_9(__VA_ARGS__)
#define TARNKIT_PLACES_11(field, ...) TARNKIT_PLACES_1(field), TARNKIT_PLACES_10(__VA_ARGS__)
#define TARNKIT_PLACES_12(field, ...) TARNKIT_PLACES_1(field), TARNKIT_PLACES_11(__VA_ARGS__)
/// \endcond
