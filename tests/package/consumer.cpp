// Built against an installed Tarnkit. Shows a text of its own in both languages, and one of the library's.
#include <tarnkit/tarnkit.h>

using namespace Tarn;

static CMessage MSG_CONSUMER_GREETING(u"MSG_CONSUMER_GREETING", 0);

int main() {
    if (!Initialize(nullptr, nullptr))
        return 1;
    // Families added after the program itself are searched first.
    const bool isEnglish = MSG_CONSUMER_GREETING.SubstParam(u"Tarnkit") == u"Tarnkit works.";
    AddResourcePrefix(FileSystem::GetEXEDir(), u"Consumer");
    SetCurrentLanguageCode(2);
    const bool isTranslated = MSG_CONSUMER_GREETING.SubstParam(u"Tarnkit") == u"Tarnkit läuft.";
    const bool hasLibraryText = ERR_FILE_NOT_FOUND.SubstParam(u"x") == u"x was not found.";
    AddResourcePrefix(FileSystem::GetEXEDir(), u"Tarnkit");
    SetCurrentLanguageCode(15);
    const bool isLibraryTranslated = ERR_FILE_NOT_FOUND.SubstParam(u"x") == u"Nie znaleziono x.";
    bool isFailureCaught = false;
    try {
        CFile missing(u"/no/such/file", CFile::ForReading);
    } catch (CFileException* e) {
        isFailureCaught = e->ErrorType() == CFileException::badPath;
        e->Delete();
    }
    RegisterThisModule();
    Clean();
    return isEnglish && isTranslated && hasLibraryText && isLibraryTranslated && isFailureCaught ? 0 : 1;
}
