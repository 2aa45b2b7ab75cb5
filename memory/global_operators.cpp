// The global names of `doAlloc` and `doFree`, and the library's own set of the operators.
#if defined(TARNKIT_STATIC) // in one program there is one set, that of its static part
#include <tarnkit/memory_manager.h>
#else
#include "memory/global_operators.inl"
#endif

void* alloc_new(unsigned int size) { return Tarn::doAlloc(size); }

void* alloc_new_array(unsigned int size) { return Tarn::doAlloc(size); }

void alloc_delete(void* ptr) { Tarn::doFree(ptr); }

void alloc_delete_array(void* ptr) { Tarn::doFree(ptr); }
