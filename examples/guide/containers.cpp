#include <tarnkit/tarnkit.h>

#include <iostream>

using namespace Tarn;

// A chapter carries its place in the tree and owns the chapters below it.
class CChapter : public CTreeBase {
public:
    explicit CChapter(const char* chapterTitle) : title(chapterTitle) {}

    const CString title;
};

int main() {
    CArray<CString> words{"pear", "fig", "pear", "apple", "fig"};
    CMap<CString, int> counts;
    for (const CString& word : words)
        counts[word]++;                      // what is missing begins with 0
    for (const auto& [word, count] : counts) // in the order of insertion
        std::cout << word << ": " << count << '\n';

    words.Sort(CString::Cmp);
    words.DeleteAdjacentDuplicates();
    int place;
    if (words.BinarySearch("grape", CString::Cmp, &place) < 0)
        words.InsertAt(place, "grape");
    std::cout << words[place - 1] << " stands before " << words[place] << '\n';

    CChapter book("Nature");
    book.AddLast(new CChapter("Plants"));
    book.AddLast(new CChapter("Minerals"));
    book.AddFirst(new CChapter("Animals"));
    book.Last()->AddLast(new CChapter("Crystals")); // below Minerals
    delete book.First();                            // takes itself out of the book
    book.Sort<CChapter>(
        [](const CChapter* a, const CChapter* b) { return CString::Cmp(&a->title, &b->title); });
    for (const CChapter& chapter : book.Nodes<CChapter>())
        std::cout << chapter.title << ", " << chapter.NumberOfChildren() << " below\n";

    const CUnicodeSet vowels(u"aeiou");
    const CUnicodeSet letters = vowels | CUnicodeSet(u"bcdfghjklmnpqrstvwxyz");
    const char16_t* const text = u"oui, et toi\u2026";
    std::cout << "The first consonant is at " << (letters - vowels).FirstIncluding(text) - text << '\n';
    std::cout << (letters.Has(text) ? "Letters only\n" : "Not only letters\n");
}
