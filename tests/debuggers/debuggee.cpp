// Objects for debuggers to look at. `look` is where they stop.
#include <tarnkit/tarnkit.h>

using namespace Tarn;

namespace {

[[gnu::noinline, gnu::used]] void look() { asm volatile("" ::: "memory"); }

CMessage message(u"MSG_SHOWN", 0);

struct CNode : CListNodeBase {
    explicit CNode(int n) : number(n) {}
    int number;
};

} // namespace

int main() {
    const CString bytes("8 bits");
    const CUnicodeString text(u"ж, 16 bits");
    const CUnicodeString empty;
    CArray<CUnicodeString> array{u"one", u"two"};
    CPointerArray<int> pointers;
    pointers.Add(new int(5));
    CMap<CUnicodeString, int> map;
    map.Set(u"Ann", 30);
    map.Set(u"Bob", 31);
    CHashTable<CUnicodeString> table;
    table.Insert(u"found");
    CListBase list;
    list.AddLast(new CNode(1));
    list.AddLast(new CNode(2));
    CTreeBase tree;
    tree.AddLast(new CTreeBase);
    tree.First()->AddLast(new CTreeBase);
    tree.AddLast(new CTreeBase);
    CPagedBitSet<100, 32, CurrentMemoryManager> bits;
    bits |= 1u;
    bits |= 2u;
    bits |= 70u;
    CUnicodeSet letters;
    for (const char16_t letter : {u'a', u'b', u'c', u'\x7'})
        letters |= letter;
    const CTime time = CTime::CreateFromTimeGmt(2026, 11, 22, 18, 30, 5, 0, 0);
    const CTimeSpan span(1, 2, 3, 4, 500, 0);
    const rational fraction(3, 4);
    const CCheckException check(ERR_BAD_INI_FILE, u"a.ini", u"7");
    const CInternalError error(u"Source", 12);
    const CFileException missing(ERROR_FILE_NOT_FOUND, u"\\tmp\\x");
    const CLastErrorException denied(ERROR_ACCESS_DENIED);
    look();
    return bytes.IsEmpty() + text.IsEmpty() + empty.IsEmpty();
}
