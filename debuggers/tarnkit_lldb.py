# Shows Tarnkit's objects in LLDB as what they stand for: command script import tarnkit_lldb.py
#
# The views read memory and never call into the program, so that they also work with a core file.
import datetime

import lldb

_LIMIT = 1000000  # a damaged list must not be walked for ever
_LONGEST = 100000  # bytes of a text that are read


def _member(value, *names):
    for name in names:
        value = value.GetChildMemberWithName(name)
    return value.GetNonSyntheticValue()


def _number(value, *names):
    return _member(value, *names).GetValueAsSigned()


def _bytes(value, address, size):
    return value.GetProcess().ReadMemory(address, size, lldb.SBError()) or b"" if size > 0 else b""


def _terminated(value, *names):
    """A 16-bit text that ends with a zero."""
    address, text = _member(value, *names).GetValueAsUnsigned(), b""
    while len(text) < _LONGEST:
        unit = _bytes(value, address + len(text), 2)
        if unit in (b"", b"\0\0"):
            break
        text += unit
    return text.decode("utf-16-le", "replace")


def _string(value):
    value = value.GetNonSyntheticValue()
    first = _member(value, "body", "text").GetChildAtIndex(0)
    size = first.GetByteSize()
    text = _bytes(value, first.GetLoadAddress(), min(_number(value, "body", "length") * size, _LONGEST))
    return text.decode("utf-16-le" if size == 2 else "utf-8", "replace")


def string(value, _):
    return '"%s"' % _string(value)


def time(value, _):
    units = _number(value.GetNonSyntheticValue(), "units")
    try:
        when = datetime.datetime(1601, 1, 1) + datetime.timedelta(microseconds=units // 10)
    except OverflowError:
        return "%d units" % units
    return "zero time" if units == 0 else "%s UTC" % when


def time_span(value, _):
    units = _number(value.GetNonSyntheticValue(), "units")
    return ("-" if units < 0 else "") + str(datetime.timedelta(microseconds=abs(units) // 10))


def fraction(value, _):
    value = value.GetNonSyntheticValue()
    return "%d/%d" % (_number(value, "numerator"), _number(value, "denominator"))


def message(value, _):
    return _terminated(value.GetNonSyntheticValue(), "name")


def check(value, _):
    value = value.GetNonSyntheticValue()
    parameters = [_string(_member(value, "parameter%d" % i)) for i in range(3)]
    while parameters and not parameters[-1]:
        parameters.pop()
    error = _member(value, "checkError").Dereference()
    return _terminated(error, "name") + "(%s)" % ", ".join('"%s"' % p for p in parameters)


def internal_error(value, _):
    value = value.GetNonSyntheticValue()
    return "%s, %d" % (_terminated(value, "sourceFile"), _number(value, "sourceLine"))


def file_exception(value, _):
    value = value.GetNonSyntheticValue()
    return '%s "%s", code %d' % (_member(value, "errorType").GetValue(), _string(_member(value, "fileName")),
                                 _number(value, "errorCode"))


def last_error_exception(value, _):
    return "code %d" % _number(value.GetNonSyntheticValue(), "errorCode")


def _set_of(value, name):
    value = value.GetNonSyntheticValue()
    kind = value.GetType().GetCanonicalType()
    if "<" not in kind.GetName():
        kind = kind.GetDirectBaseClassAtIndex(0).GetType().GetCanonicalType()
    page_size = int(kind.GetName().split(",")[1])
    pages = _member(value, "pages")
    elements = []
    for page in range(pages.GetNumChildren()):
        address = pages.GetChildAtIndex(page).GetValueAsUnsigned()
        bits = int.from_bytes(_bytes(value, address, page_size // 8), "little") if address != 0 else 0
        while bits != 0:
            lowest = (bits & -bits).bit_length() - 1
            elements.append(page * page_size + lowest)
            bits &= bits - 1
    ranges = []
    for element in elements:
        if ranges and ranges[-1][1] == element - 1:
            ranges[-1][1] = element
        else:
            ranges.append([element, element])
    return "{%s}" % ", ".join(name(a) if a == b else "%s-%s" % (name(a), name(b)) for a, b in ranges)


def bit_set(value, _):
    return _set_of(value, str)


def unicode_set(value, _):
    return _set_of(value, lambda unit: "'%s'" % chr(unit) if chr(unit).isprintable() else "U+%04X" % unit)


class _Children:
    def __init__(self, value, _):
        self.value = value.GetNonSyntheticValue()
        self.update()

    def update(self):
        self.items = [] if not self.value.IsValid() else list(self.find())
        return False

    def num_children(self):
        return len(self.items)

    def has_children(self):
        return bool(self.items)

    def get_child_index(self, name):
        return int(name.strip("[]"))

    def get_child_at_index(self, index):
        return self.items[index] if 0 <= index < len(self.items) else None

    def named(self, index, value):
        return self.value.CreateValueFromData("[%d]" % index, value.GetData(), value.GetType())


class Array(_Children):
    def find(self):
        elements = _member(self.value, "elements")
        kind = elements.GetType().GetPointeeType()
        for i in range(min(_number(self.value, "count"), _LIMIT)):
            address = elements.GetValueAsUnsigned() + i * kind.GetByteSize()
            yield self.value.CreateValueFromAddress("[%d]" % i, address, kind)


class PointerArray(_Children):
    def find(self):
        elements = _member(self.value, "pointers", "elements")
        for i in range(min(_number(self.value, "pointers", "count"), _LIMIT)):
            pointer = elements.GetChildAtIndex(i, lldb.eNoDynamicValues, True)
            yield self.named(i, pointer.Dereference() if pointer.GetValueAsUnsigned() else pointer)


class Table(_Children):
    def find(self):
        node = _member(self.value, "nodes", "first")
        for i in range(min(_number(self.value, "nodes", "count"), _LIMIT)):
            yield self.named(i, _member(node, "entry"))
            node = _member(node, "next")


class Nodes(_Children):
    def find(self):
        node = _member(self.value, "first")
        for i in range(_LIMIT):
            if node.GetValueAsUnsigned() == 0:
                return
            yield self.named(i, node.GetDynamicValue(lldb.eDynamicDontRunTarget).Dereference())
            node = _member(node, "next")


_SUMMARIES = [("C(Unicode)?String", "string"), ("CTime", "time"), ("CTimeSpan", "time_span"),
              ("rational", "fraction"), ("CMessage|CError", "message"), ("CCheckException", "check"),
              ("CInternalError", "internal_error"), ("CFileException", "file_exception"),
              ("CLastErrorException", "last_error_exception"), ("CPagedBitSet<.*>", "bit_set"),
              ("CUnicodeSet", "unicode_set")]
_CHILDREN = [("CArray<.*>", "Array"), ("CPointerArray<.*>", "PointerArray"), ("C(Map|HashTable)<.*>", "Table"),
             ("CListBase|CTreeBase", "Nodes")]


def __lldb_init_module(debugger, _):
    for pattern, function in _SUMMARIES:
        debugger.HandleCommand('type summary add -w Tarnkit -x "^Tarn::(%s)$" -F %s.%s' %
                               (pattern, __name__, function))
    for pattern, provider in _CHILDREN:
        debugger.HandleCommand('type synthetic add -w Tarnkit -x "^Tarn::(%s)$" -l %s.%s' %
                               (pattern, __name__, provider))
        debugger.HandleCommand('type summary add -w Tarnkit -e -x "^Tarn::(%s)$" -s "size ${svar%%#}"' % pattern)
    debugger.HandleCommand("type category enable Tarnkit")
