#include "tests/faults/interposer.h"

#include <cerrno>
#include <cstddef>
#include <dlfcn.h>
#include <iterator>
#include <type_traits>
#include <utility>

namespace Tarn {

namespace {

thread_local CCallHook* currentHook = nullptr;

// What a call returns that has failed with `error`.
template<class Result>
Result failure(std::string_view name, int error) {
    errno = error;
    if (name == "posix_memalign")
        return (Result)(std::intptr_t)error;
    constexpr bool isPointer = std::is_pointer_v<Result>;
    return isPointer && name != "mmap64" && name != "iconv_open" ? Result{} : (Result)(std::intptr_t)-1;
}

template<class Result, class... Parameters, std::size_t... indexes>
Result make(Result (*call)(Parameters...), const CCall& made, std::index_sequence<indexes...>) {
    return call((Parameters)(made.arguments[indexes])...);
}

template<class Result, class... Parameters>
Result pass(const char* name, Result (*&next)(Parameters...), Parameters... parameters) {
    if (next == nullptr)
        next = reinterpret_cast<Result (*)(Parameters...)>(dlsym(RTLD_NEXT, name));
    CCallHook* const hook = std::exchange(currentHook, nullptr);
    if (hook == nullptr)
        return next(parameters...);
    CCall call{name, {(std::uintptr_t)(parameters)...}};
    const int error = hook->Before(call);
    // Only a loader that has tried knows what it failed at; what fails to close is closed all the same.
    if (error != 0 && call.name == "dlopen")
        call.arguments[0] = reinterpret_cast<std::uintptr_t>("/refused");
    const bool isMade = error == 0 || call.name == "dlopen" || call.name == "close";
    Result result{};
    if (isMade)
        result = make(next, call, std::index_sequence_for<Parameters...>());
    if (error != 0 && call.name != "dlopen")
        result = failure<Result>(call.name, error);
    call.result = (std::int64_t)result;
    const int code = errno;
    hook->After(call);
    errno = code;
    currentHook = hook;
    return result;
}

} // namespace

CHookedCalls::CHookedCalls(CCallHook& hook) { currentHook = &hook; }
CHookedCalls::~CHookedCalls() { currentHook = nullptr; }

} // namespace Tarn

// Each call under its own name for the linker, and another one here, where the headers declare the first.
#define TARNKIT_CALL(Result, name, arguments, ...)                                                           \
    extern "C" [[gnu::visibility("default")]] Result hooked_##name(__VA_ARGS__) __asm__(#name);              \
    extern "C" Result hooked_##name(__VA_ARGS__) {                                                           \
        static Result (*next)(__VA_ARGS__) = nullptr;                                                        \
        return Tarn::pass arguments;                                                                         \
    }
#define TARNKIT_CALL_1(Result, name, A) TARNKIT_CALL(Result, name, (#name, next, a), A a)
#define TARNKIT_CALL_2(Result, name, A, B) TARNKIT_CALL(Result, name, (#name, next, a, b), A a, B b)
#define TARNKIT_CALL_3(Result, name, A, B, C)                                                                \
    TARNKIT_CALL(Result, name, (#name, next, a, b, c), A a, B b, C c)
#define TARNKIT_CALL_4(Result, name, A, B, C, D)                                                             \
    TARNKIT_CALL(Result, name, (#name, next, a, b, c, d), A a, B b, C c, D d)
#define TARNKIT_CALL_5(Result, name, A, B, C, D, E)                                                          \
    TARNKIT_CALL(Result, name, (#name, next, a, b, c, d, e), A a, B b, C c, D d, E e)
#define TARNKIT_CALL_6(Result, name, A, B, C, D, E, F)                                                       \
    TARNKIT_CALL(Result, name, (#name, next, a, b, c, d, e, f), A a, B b, C c, D d, E e, F f)

using TText = const char*;
using TSize = std::size_t;
using TOffset = std::int64_t;

TARNKIT_CALL_1(void*, malloc, TSize)
TARNKIT_CALL_2(void*, calloc, TSize, TSize)
TARNKIT_CALL_2(void*, realloc, void*, TSize)
TARNKIT_CALL_3(int, posix_memalign, void**, TSize, TSize)
TARNKIT_CALL_2(void*, aligned_alloc, TSize, TSize)
TARNKIT_CALL_6(void*, mmap64, void*, TSize, int, int, int, TOffset)
TARNKIT_CALL_3(int, mprotect, void*, TSize, int)
TARNKIT_CALL_3(int, open64, TText, int, unsigned)
TARNKIT_CALL_4(int, openat64, int, TText, int, unsigned)
TARNKIT_CALL_2(void*, fopen64, TText, TText)
TARNKIT_CALL_3(TOffset, read, int, void*, TSize)
TARNKIT_CALL_4(TOffset, pread64, int, void*, TSize, TOffset)
TARNKIT_CALL_3(TOffset, write, int, const void*, TSize)
TARNKIT_CALL_4(TOffset, pwrite64, int, const void*, TSize, TOffset)
TARNKIT_CALL_6(TOffset, copy_file_range, int, TOffset*, int, TOffset*, TSize, unsigned)
TARNKIT_CALL_2(int, ftruncate64, int, TOffset)
TARNKIT_CALL_3(TOffset, lseek64, int, TOffset, int)
TARNKIT_CALL_1(int, fsync, int)
TARNKIT_CALL_1(int, fdatasync, int)
TARNKIT_CALL_1(int, close, int)
TARNKIT_CALL_2(int, rename, TText, TText)
TARNKIT_CALL_5(int, renameat2, int, TText, int, TText, unsigned)
TARNKIT_CALL_2(int, link, TText, TText)
TARNKIT_CALL_2(int, symlink, TText, TText)
TARNKIT_CALL_1(int, unlink, TText)
TARNKIT_CALL_3(int, unlinkat, int, TText, int)
TARNKIT_CALL_2(int, mkdir, TText, unsigned)
TARNKIT_CALL_1(int, rmdir, TText)
TARNKIT_CALL_5(int, statx, int, TText, int, unsigned, void*)
TARNKIT_CALL_2(int, stat64, TText, void*)
TARNKIT_CALL_2(int, lstat64, TText, void*)
TARNKIT_CALL_2(int, fstat64, int, void*)
TARNKIT_CALL_2(int, fstatvfs64, int, void*)
TARNKIT_CALL_1(void*, opendir, TText)
TARNKIT_CALL_1(void*, fdopendir, int)
TARNKIT_CALL_1(void*, readdir64, void*)
TARNKIT_CALL_3(int, fcntl64, int, int, void*)
TARNKIT_CALL_2(int, flock, int, int)
TARNKIT_CALL_2(int, chmod, TText, unsigned)
TARNKIT_CALL_2(int, fchmod, int, unsigned)
TARNKIT_CALL_3(int, fchown, int, unsigned, unsigned)
TARNKIT_CALL_5(int, fsetxattr, int, TText, const void*, TSize, int)
TARNKIT_CALL_2(int, fremovexattr, int, TText)
TARNKIT_CALL_2(int, futimens, int, const void*)
TARNKIT_CALL_2(char*, getcwd, char*, TSize)
TARNKIT_CALL_3(TOffset, readlink, TText, char*, TSize)
TARNKIT_CALL_2(char*, realpath, TText, char*)
TARNKIT_CALL_2(void*, dlopen, TText, int)
TARNKIT_CALL_3(void*, newlocale, int, TText, void*)
TARNKIT_CALL_2(void*, iconv_open, TText, TText)
