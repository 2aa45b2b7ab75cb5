#include <tarnkit/tarnkit.h>

#include <iostream>

using namespace Tarn;

static void print(const CUnicodeString& text) { std::cout << text.CreateString() << '\n'; }

int main() {
    const CTime start = CTime::CreateFromTimeGmt(2026, February, 28, 22, 30, 0, 0, 0);
    const CTime end = start + CTimeSpan(1, 2, 0, 0, 0, 0);
    print(end.UnicodeFormatGmt(u"%Y-%m-%d %H:%M"));
    print((end - start).UnicodeFormat(u"%D day and %H hours, or %h hours"));
    std::cout << (end > start ? "later, " : "earlier, ") << (start - end).GetTotalMinutes() << " minutes\n";

    rational share(1, 3);
    share += rational(1, 6);
    std::cout << Str(share) << (share == rational(1, 2) ? " is a half\n" : " is no half\n");
    rational parsed;
    if (CString(" 7 / 4 ").Value(parsed))
        std::cout << Str(parsed * 2) << " and " << Str(-parsed) << '\n';
    try {
        share /= 0;
    } catch (CCheckException* e) {
        std::cout << (&e->Error() == &ERR_DIVIDE_ZERO ? "No part of " : "?") << Str(share) << '\n';
        e->Delete();
    }

    const CRect page(0, 0, 210, 297);
    CRect picture(CPoint(180, 250), CSize(60, 60));
    std::cout << picture.Width() << " x " << picture.Height();
    picture &= page;
    std::cout << ", of which " << picture.Width() << " x " << picture.Height() << " on the page\n";
    if (!page.PtInRect(page.BottomRight()) && page.PtInRect(page.BottomRight() - CSize(1, 1)))
        std::cout << "The edges at the right and at the bottom lie outside\n";
    picture.OffsetRect(300, 0);
    if (!picture.IntersectRect(picture, page))
        std::cout << "Nothing of it is left on the page\n";
}
