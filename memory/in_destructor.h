// What destructors do with a failure. Shared by every floor from memory/ up.
#pragma once

#include <exception>

namespace Tarn {

/// Disposes of the exception that is being handled. Belongs to the error subsystem; like the functions of
/// failures.h it can be called from the floors below.
void DeleteCurrentException();

/// Runs the part of a destructor that may fail; the destructor must be `noexcept(false)`. A failure is thrown
/// from the destructor, except while another exception is unwinding the stack: a second one would then end
/// the process, so it is dropped.
template<class Action>
void RunInDestructor(Action action) {
    try {
        action();
    } catch (...) {
        if (std::uncaught_exceptions() == 0)
            throw;
        DeleteCurrentException();
    }
}

} // namespace Tarn
