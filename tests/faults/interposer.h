// The C library's calls as the library and what it uses make them: this program defines them itself, so that
// a test sees each call before it is made, can refuse or shorten it, and sees its result.
#pragma once

#include <cstdint>
#include <string_view>

namespace Tarn {

struct CCall {
    std::string_view name;
    std::uintptr_t arguments[6] = {}; // in their order; strings and buffers as addresses
    std::int64_t result = 0;

    const char* Path(int index) const { return reinterpret_cast<const char*>(arguments[index]); }
};

class CCallHook {
public:
    virtual ~CCallHook() = default;

    /// Returns 0 to let the call happen, with the arguments as they are left, or the error to fail with.
    virtual int Before(CCall& call) = 0;
    /// What happened; `errno` is that of the call.
    virtual void After(const CCall&) {}
};

/// Lets a hook see the calls of this thread for a scope, except those that the hook itself makes.
class CHookedCalls {
public:
    explicit CHookedCalls(CCallHook& hook);
    ~CHookedCalls();
    CHookedCalls(const CHookedCalls&) = delete;
    CHookedCalls& operator=(const CHookedCalls&) = delete;
};

} // namespace Tarn
