# Run by GDB with the debuggee: compares what the views show with what the objects are.
import gdb

ARRAY = "Tarn::CArray<Tarn::CUnicodeString, Tarn::CurrentMemoryManager> of 2 = "
EXPECTED = {
    "bytes": '"8 bits"',
    "text": 'u"ж, 16 bits"',
    "empty": 'u""',
    "array": ARRAY + '{u"one", u"two"}',
    "pointers": "Tarn::CPointerArray<int, Tarn::CurrentMemoryManager> of 1 = {5}",
    "map": "Tarn::CMap<Tarn::CUnicodeString, int, Tarn::CurrentMemoryManager> of 2 = "
           '{[u"Ann"] = 30, [u"Bob"] = 31}',
    "table": 'Tarn::CHashTable<Tarn::CUnicodeString, Tarn::CurrentMemoryManager> of 1 = {u"found"}',
    "tree": "Tarn::CTreeBase of 2 = {Tarn::CTreeBase of 1 = {Tarn::CTreeBase of 0}, Tarn::CTreeBase of 0}",
    "bits": "{1-2, 70}",
    "letters": "{U+0007, 'a'-'c'}",
    "time": "2026-11-22 18:30:05 UTC",
    "span": "1 day, 2:03:04.500000",
    "fraction": "3/4",
    "message": "MSG_SHOWN",
    "check": 'Tarn::CCheckException: ERR_BAD_INI_FILE("a.ini", "7")',
    "error": "Tarn::CInternalError: Source, 12",
    "missing": 'Tarn::CFileException: fileNotFound "\\tmp\\x", code 2',
    "denied": "Tarn::CLastErrorException: code 5",
}

gdb.execute("set host-charset UTF-8")
gdb.execute("break look")
try:
    gdb.execute("run")
    gdb.execute("up")
except gdb.error as failure:  # a system that lets nobody trace
    print("not traced: %s" % failure)
    gdb.execute("quit 77")
shown = {name: gdb.parse_and_eval(name).format_string() for name in EXPECTED}
list_text = gdb.parse_and_eval("list").format_string()
text = gdb.execute("tarnkit-text check", to_string=True)
wrong = [name for name in EXPECTED if shown[name] != EXPECTED[name]]
for name in wrong:
    print("%s is shown as %s" % (name, shown[name]))
if not ("of 2" in list_text and "number = 1" in list_text and "number = 2" in list_text):
    wrong.append(list_text)
    print("the list is shown as " + list_text)
if "a.ini" not in text:
    wrong.append(text)
    print("the text is " + text)
gdb.execute("kill")
gdb.execute("quit %d" % (1 if wrong else 0))
