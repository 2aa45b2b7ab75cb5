// Immortal: an object that exists from before the first constructor of the process to after its last
// destructor.
//
// The library's own long-lived objects are of this kind, so that static objects of clients may use them at
// any time. What such an object holds at unload is released by a function of its subsystem.
#pragma once

namespace Tarn {

template<class T>
union Immortal {
    T object;

    template<class... Arguments>
    constexpr explicit Immortal(Arguments... arguments) : object(arguments...) {}
    constexpr ~Immortal() {}
};

} // namespace Tarn
