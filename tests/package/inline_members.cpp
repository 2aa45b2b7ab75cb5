// Uses all inline functions of the public headers. The library must export everything that they call.
#include <tarnkit/non_throwing.h>
#include <tarnkit/tarnkit.h>

using namespace Tarn;

template class Tarn::CArray<int>;
template class Tarn::CPointerArray<CArchive>;
template class Tarn::CMap<CUnicodeString, CTime>;
template class Tarn::CHashTable<CString>;
template class Tarn::CPagedBitSet<1000, 64, CurrentMemoryManager>;
template class Tarn::CNonThrowing<CFile>;

// The constants of exported classes can be referred to.
const void* constants[] = {&CArchive::kLeastBufferSize, &CMemoryFile::kDefaultGrowthStep, &CTimeSpan::kDay,
                           &CStringBody::kLongestLength};

int main() {}
