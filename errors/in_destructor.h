// What destructors that may fail share.
#pragma once

#include <tarnkit/exceptions.h>

#include <exception>

namespace Tarn {

/// Does what a destructor may fail in; the destructor must be `noexcept(false)`. While another exception is
/// on its way, the failure is deleted.
template<class Action>
void RunInDestructor(Action action) {
    try {
        action();
    } catch (CException* e) {
        if (std::uncaught_exceptions() == 0)
            throw;
        e->Delete();
    }
}

} // namespace Tarn
