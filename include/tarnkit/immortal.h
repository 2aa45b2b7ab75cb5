/// \file
/// `Immortal`: a static object that is initialised by the compiler and never destroyed.
///
/// The library's long-lived objects are of this kind, so static objects of clients may use them in their own
/// constructors and destructors. When the library is unloaded, a function of the object's subsystem releases
/// what the object holds.
///
/// \code
/// constinit Tarn::Immortal<Tarn::CBlockManager> nodes{64, 0x10000};
/// void* node = nodes.object.Alloc();
/// \endcode
#pragma once

namespace Tarn {

/// Holds an object without destroying it.
template<class T>
union Immortal {
    /// The object itself, which the arguments of the constructor initialise.
    T object;

    template<class... Arguments>
    /// Makes the object of these arguments.
    constexpr explicit Immortal(Arguments... arguments) : object(arguments...) {}
    constexpr ~Immortal() {}
};

} // namespace Tarn
