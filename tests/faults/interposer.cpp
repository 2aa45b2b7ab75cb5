#include "tests/faults/interposer.h"

#include <cerrno>
#include <dlfcn.h>
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
    return isPointer && name != "mmap64" && name != "mremap" && name != "iconv_open"
               ? Result{}
               : (Result)(std::intptr_t)-1;
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
#define TARNKIT_CALL(Result, name, parameters, ...)                                                          \
    extern "C" [[gnu::visibility("default")]] Result hooked_##name parameters __asm__(#name);                \
    extern "C" Result hooked_##name parameters {                                                             \
        static Result(*next) parameters = nullptr;                                                           \
        return Tarn::pass(#name, next, __VA_ARGS__);                                                         \
    }

using TText = const char*;
using TSize = std::size_t;
using TOffset = std::int64_t;

TARNKIT_CALL(void*, malloc, (TSize a), a)
TARNKIT_CALL(void*, calloc, (TSize a, TSize b), a, b)
TARNKIT_CALL(void*, realloc, (void* a, TSize b), a, b)
TARNKIT_CALL(int, posix_memalign, (void** a, TSize b, TSize c), a, b, c)
TARNKIT_CALL(void*, aligned_alloc, (TSize a, TSize b), a, b)
TARNKIT_CALL(void*, mmap64, (void* a, TSize b, int c, int d, int e, TOffset f), a, b, c, d, e, f)
TARNKIT_CALL(int, munmap, (void* a, TSize b), a, b)
TARNKIT_CALL(int, mprotect, (void* a, TSize b, int c), a, b, c)
TARNKIT_CALL(void*, mremap, (void* a, TSize b, TSize c, int d, void* e), a, b, c, d, e)
TARNKIT_CALL(int, madvise, (void* a, TSize b, int c), a, b, c)
TARNKIT_CALL(int, open64, (TText a, int b, unsigned c), a, b, c)
TARNKIT_CALL(int, openat64, (int a, TText b, int c, unsigned d), a, b, c, d)
TARNKIT_CALL(void*, fopen64, (TText a, TText b), a, b)
TARNKIT_CALL(TOffset, read, (int a, void* b, TSize c), a, b, c)
TARNKIT_CALL(TOffset, pread64, (int a, void* b, TSize c, TOffset d), a, b, c, d)
TARNKIT_CALL(TOffset, write, (int a, const void* b, TSize c), a, b, c)
TARNKIT_CALL(TOffset, pwrite64, (int a, const void* b, TSize c, TOffset d), a, b, c, d)
TARNKIT_CALL(TOffset, copy_file_range, (int a, TOffset* b, int c, TOffset* d, TSize e, unsigned f), a, b, c,
             d, e, f)
TARNKIT_CALL(int, ftruncate64, (int a, TOffset b), a, b)
TARNKIT_CALL(TOffset, lseek64, (int a, TOffset b, int c), a, b, c)
TARNKIT_CALL(int, fsync, (int a), a)
TARNKIT_CALL(int, fdatasync, (int a), a)
TARNKIT_CALL(int, close, (int a), a)
TARNKIT_CALL(int, rename, (TText a, TText b), a, b)
TARNKIT_CALL(int, renameat2, (int a, TText b, int c, TText d, unsigned e), a, b, c, d, e)
TARNKIT_CALL(int, link, (TText a, TText b), a, b)
TARNKIT_CALL(int, symlink, (TText a, TText b), a, b)
TARNKIT_CALL(int, unlink, (TText a), a)
TARNKIT_CALL(int, unlinkat, (int a, TText b, int c), a, b, c)
TARNKIT_CALL(int, mkdir, (TText a, unsigned b), a, b)
TARNKIT_CALL(int, rmdir, (TText a), a)
TARNKIT_CALL(int, statx, (int a, TText b, int c, unsigned d, void* e), a, b, c, d, e)
TARNKIT_CALL(int, stat64, (TText a, void* b), a, b)
TARNKIT_CALL(int, lstat64, (TText a, void* b), a, b)
TARNKIT_CALL(int, fstat64, (int a, void* b), a, b)
TARNKIT_CALL(int, fstatvfs64, (int a, void* b), a, b)
TARNKIT_CALL(void*, opendir, (TText a), a)
TARNKIT_CALL(void*, fdopendir, (int a), a)
TARNKIT_CALL(void*, readdir64, (void* a), a)
TARNKIT_CALL(int, fcntl64, (int a, int b, void* c), a, b, c)
TARNKIT_CALL(int, flock, (int a, int b), a, b)
TARNKIT_CALL(int, chmod, (TText a, unsigned b), a, b)
TARNKIT_CALL(int, fchmod, (int a, unsigned b), a, b)
TARNKIT_CALL(int, fchown, (int a, unsigned b, unsigned c), a, b, c)
TARNKIT_CALL(int, fsetxattr, (int a, TText b, const void* c, TSize d, int e), a, b, c, d, e)
TARNKIT_CALL(int, fremovexattr, (int a, TText b), a, b)
TARNKIT_CALL(int, futimens, (int a, const void* b), a, b)
TARNKIT_CALL(char*, getcwd, (char* a, TSize b), a, b)
TARNKIT_CALL(TOffset, readlink, (TText a, char* b, TSize c), a, b, c)
TARNKIT_CALL(char*, realpath, (TText a, char* b), a, b)
TARNKIT_CALL(void*, dlopen, (TText a, int b), a, b)
TARNKIT_CALL(void*, newlocale, (int a, TText b, void* c), a, b, c)
TARNKIT_CALL(int, inotify_init1, (int a), a)
TARNKIT_CALL(TOffset, getrandom, (void* a, TSize b, unsigned c), a, b, c)
TARNKIT_CALL(void*, iconv_open, (TText a, TText b), a, b)
