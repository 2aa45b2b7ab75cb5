# Shows Tarnkit's objects in GDB as what they stand for, and adds the command `tarnkit-text EXCEPTION`.
#
# GDB loads this file with libTarnkit.so, where it is installed for that; elsewhere: source tarnkit_gdb.py.
# The views read memory and never call into the program, so that they also work with a core file. Only the
# command calls `MessageText`.
import datetime
import re

import gdb
import gdb.printing

_LIMIT = 1000000  # a damaged list must not be walked for ever


def _text(pointer):
    """A text that ends with a zero, or `None`."""
    return None if int(pointer) == 0 else pointer.string("UTF-16")


def _string(value):
    """The text of a CString or CUnicodeString."""
    body = value["body"]
    first = body["text"][0]
    encoding = "UTF-16" if first.type.sizeof == 2 else "UTF-8"
    return first.address.string(encoding, errors="replace", length=int(body["length"]))


def _when(units):
    """The time of so many units of 100 ns since 1601, or `None` beyond what Python's calendar has."""
    try:
        return datetime.datetime(1601, 1, 1) + datetime.timedelta(microseconds=units // 10)
    except OverflowError:
        return None


class _View:
    def __init__(self, value):
        self.value = value


class _StringView(_View):
    def to_string(self):
        body = self.value["body"]
        text = body["text"][0]
        if text.type.sizeof == 2:
            return text.address.lazy_string(encoding="UTF-16", length=int(body["length"]))
        return text.address.lazy_string(length=int(body["length"]))

    def display_hint(self):
        return "string"


class _ArrayView(_View):
    def to_string(self):
        return "%s of %d" % (self.value.type.strip_typedefs().unqualified(), int(self.value["count"]))

    def children(self):
        for i in range(int(self.value["count"])):
            yield "[%d]" % i, self.value["elements"][i]

    def display_hint(self):
        return "array"


class _PointerArrayView(_View):
    def to_string(self):
        return "%s of %d" % (self.value.type.strip_typedefs().unqualified(),
                             int(self.value["pointers"]["count"]))

    def children(self):
        pointers = self.value["pointers"]
        for i in range(int(pointers["count"])):
            pointer = pointers["elements"][i]
            yield "[%d]" % i, pointer if int(pointer) == 0 else pointer.dereference()

    def display_hint(self):
        return "array"


class _TableView(_View):
    """A CMap or CHashTable, in the order of insertion."""

    def to_string(self):
        return "%s of %d" % (self.value.type.strip_typedefs().unqualified(),
                             int(self.value["nodes"]["count"]))

    def entries(self):
        node = self.value["nodes"]["first"]
        for i in range(min(int(self.value["nodes"]["count"]), _LIMIT)):
            if int(node) == 0:
                return
            yield i, node["entry"]
            node = node["next"]


class _HashTableView(_TableView):
    def children(self):
        for i, entry in self.entries():
            yield "[%d]" % i, entry

    def display_hint(self):
        return "array"


class _MapView(_TableView):
    def children(self):
        for i, entry in self.entries():
            yield "key %d" % i, entry["key"]
            yield "value %d" % i, entry["value"]

    def display_hint(self):
        return "map"


class _ListView(_View):
    """The nodes of a list, or the children in a tree, as objects of their own classes."""

    def nodes(self):
        node = self.value["first"]
        for _ in range(_LIMIT):
            if int(node) == 0:
                return
            yield node.cast(node.dynamic_type).dereference()
            node = node["next"]

    def to_string(self):
        return "%s of %d" % (self.value.type.strip_typedefs().unqualified(), sum(1 for _ in self.nodes()))

    def children(self):
        for i, node in enumerate(self.nodes()):
            yield "[%d]" % i, node

    def display_hint(self):
        return "array"


def _elements(pages, page_size):
    """The elements of a set of bits, as ranges."""
    start, end = None, None
    low, high = pages.type.range()
    for page in range(low, high + 1):
        if int(pages[page]) == 0:
            continue
        for word in range(page_size // 32):
            bits = int(pages[page][word])
            for bit in range(32) if bits != 0 else ():
                if bits >> bit & 1:
                    element = page * page_size + word * 32 + bit
                    if end is not None and element != end + 1:
                        yield start, end
                        start = None
                    start, end = element if start is None else start, element
    if start is not None:
        yield start, end


def _spelled(first, last, name):
    return name(first) if first == last else "%s-%s" % (name(first), name(last))


class _BitSetView(_View):
    def to_string(self):
        page_size = int(self.value.type.strip_typedefs().template_argument(1))
        return "{%s}" % ", ".join(_spelled(a, b, str) for a, b in _elements(self.value["pages"], page_size))


class _UnicodeSetView(_View):
    def to_string(self):
        def name(unit):
            return "'%s'" % chr(unit) if chr(unit).isprintable() else "U+%04X" % unit

        base = next(field.type for field in self.value.type.strip_typedefs().fields() if field.is_base_class)
        page_size = int(base.strip_typedefs().template_argument(1))
        return "{%s}" % ", ".join(_spelled(a, b, name) for a, b in _elements(self.value["pages"], page_size))


class _TimeView(_View):
    def to_string(self):
        units = int(self.value["units"])
        when = _when(units)
        return "zero time" if units == 0 else "%d units" % units if when is None else "%s UTC" % when


class _TimeSpanView(_View):
    def to_string(self):
        units = int(self.value["units"])
        text = str(datetime.timedelta(microseconds=abs(units) // 10))
        return "-" + text if units < 0 else text


class _RationalView(_View):
    def to_string(self):
        return "%d/%d" % (int(self.value["numerator"]), int(self.value["denominator"]))


class _MessageView(_View):
    def to_string(self):
        return _text(self.value["name"])


class _ExceptionView(_View):
    def to_string(self):
        return "%s: %s" % (self.value.type.strip_typedefs().unqualified(), self.what())


class _CheckExceptionView(_ExceptionView):
    def what(self):
        parameters = [_string(self.value["parameter%d" % i]) for i in range(3)]
        while parameters and not parameters[-1]:
            parameters.pop()
        return _text(self.value["checkError"]["name"]) + "(%s)" % ", ".join('"%s"' % p for p in parameters)


class _InternalErrorView(_ExceptionView):
    def what(self):
        return "%s, %d" % (_text(self.value["sourceFile"]), int(self.value["sourceLine"]))


class _FileExceptionView(_ExceptionView):
    def what(self):
        return '%s "%s", code %d' % (str(self.value["errorType"]).rsplit("::", 1)[-1],
                                     _string(self.value["fileName"]), int(self.value["errorCode"]))


class _LastErrorExceptionView(_ExceptionView):
    def what(self):
        return "code %d" % int(self.value["errorCode"])


_VIEWS = [
    ("string", r"CString|CUnicodeString|CStringOf<.*>", _StringView),
    ("array", r"CArray<.*>", _ArrayView),
    ("pointer array", r"CPointerArray<.*>", _PointerArrayView),
    ("map", r"CMap<.*>", _MapView),
    ("hash table", r"CHashTable<.*>", _HashTableView),
    ("list", r"CListBase", _ListView),
    ("tree", r"CTreeBase", _ListView),
    ("set of bits", r"CPagedBitSet<.*>", _BitSetView),
    ("set of characters", r"CUnicodeSet", _UnicodeSetView),
    ("time", r"CTime", _TimeView),
    ("time span", r"CTimeSpan", _TimeSpanView),
    ("fraction", r"rational", _RationalView),
    ("message", r"CMessage|CError", _MessageView),
    ("check", r"CCheckException", _CheckExceptionView),
    ("internal error", r"CInternalError", _InternalErrorView),
    ("file exception", r"CFileException", _FileExceptionView),
    ("system exception", r"CLastErrorException", _LastErrorExceptionView),
]


class _TextCommand(gdb.Command):
    """tarnkit-text EXCEPTION: the text of an exception, for instance `tarnkit-text e`. Calls the program."""

    def __init__(self):
        super().__init__("tarnkit-text", gdb.COMMAND_DATA, gdb.COMPLETE_EXPRESSION)

    def invoke(self, argument, from_tty):
        exception = gdb.parse_and_eval(argument)
        if exception.type.strip_typedefs().code != gdb.TYPE_CODE_PTR:
            exception = exception.address
        text = gdb.parse_and_eval("((Tarn::CException*)%d)->MessageText()" % int(exception))
        print(_string(text))


def register(where=None):
    printers = gdb.printing.RegexpCollectionPrettyPrinter("Tarnkit")
    for name, pattern, view in _VIEWS:
        printers.add_printer(name, "^Tarn::(%s)$" % pattern, view)
    gdb.printing.register_pretty_printer(where, printers, replace=True)


register(gdb.current_objfile())
_TextCommand()
