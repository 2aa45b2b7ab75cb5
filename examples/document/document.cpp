#include <tarnkit/tarnkit.h>

using namespace Tarn;

int main() {
    Initialize(nullptr, nullptr);
    try {
        CFile out(u"document.bin", CFile::ForWriting | CFile::Create);
        CArchive store(&out, CArchive::Storing);
        store.SerializeVersion(1);
        store << CUnicodeString(u"Grüße, мир") << 2026 << 0.5;
        store.Close();
        out.Close();

        CFile in(u"document.bin", CFile::ForReading | CFile::DenyWrite);
        CArchive load(&in, CArchive::Loading);
        load.SerializeVersion(1);
        CUnicodeString title;
        int year;
        double share;
        load >> title >> year >> share;
        Trace(u"%s, %d, %g\n", title.Ptr(), year, share);
    } catch (CException* e) {
        Warning(e); // "... document.bin was not found.", in the user's language
        e->Delete();
    }
    Clean();
}
