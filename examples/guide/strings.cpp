#include <tarnkit/tarnkit.h>

#include <iostream>

using namespace Tarn;

static void print(std::u16string_view text) { std::cout << CUnicodeString(text) << '\n'; } // in UTF-8

int main() {
    CUnicodeString title(u"  Schöne Grüße  ");
    title.Trim();
    const CUnicodeString copy = title; // shares the text
    title.MakeUpper();                 // now it has one of its own
    print(title + u" / " + copy);
    if (title.CompareNoCase(copy) == 0)
        print(Format(u"%d units, %d bytes in UTF-8", copy.GetLength(),
                     copy.CreateString(kUtf8CodePage).GetLength()));

    const CUnicodeString line(u"width=120; height = 80;depth=x");
    for (int start = 0; start <= line.GetLength();) {
        const CUnicodeString field = line.SpanExcluding(u";", start);
        start += field.GetLength() + 1;
        const int equals = field.Find(u'=');
        CUnicodeString name = field.Left(equals);
        name.Trim();
        int value;
        if (field.Mid(equals + 1).Value(value))
            print(CheckedFormat(u"%-8s%4d %#x", name, value, value)); // checked by the compiler
        else
            print(CUnicodeString(u"%0: \"%1\" is no number").SubstParam(name, field.Mid(equals + 1)));
    }

    CUnicodeString stars;
    char16_t* const units = stars.GetBuffer(5); // room for five, and for nobody else to see
    for (int i = 0; i < 5; i++)
        units[i] = i % 2 == 0 ? u'*' : u'-';
    stars.ReleaseBuffer(5);
    print(stars + u' ' + UnicodeStr(0.1 + 0.2) + u' ' + UnicodeStr(-1, 16));

    const CString cyrillic(u"мир", 1251);
    std::cout << cyrillic.GetLength() << " bytes in code page 1251\n";
    print(cyrillic.CreateUnicodeString(1251));
}
