// The global names of `doAlloc` and `doFree`, and the library's own set of the operators.
#include "memory/global_operators.inl"

void* alloc_new(unsigned int size) { return Tarn::doAlloc(size); }

void* alloc_new_array(unsigned int size) { return Tarn::doAlloc(size); }

void alloc_delete(void* ptr) { Tarn::doFree(ptr); }

void alloc_delete_array(void* ptr) { Tarn::doFree(ptr); }
