#include <tarnkit/tarnkit.h>

#include <iostream>

using namespace Tarn;

constexpr unsigned kUtf8 = 65001;

struct CArticle {
    CUnicodeString name;
    rational price;

    // Both directions in one place, so that they cannot differ.
    void Serialize(CArchive& archive) {
        archive.SerializeVersion(1);
        if (archive.IsStoring())
            archive << name << price;
        else
            archive >> name >> price;
    }
};

static void store(CBaseFile& file, CArticle article) {
    CArchive archive(&file, CArchive::Storing);
    article.Serialize(archive);
    archive.Close(); // here a full disk is noticed
}

static void load(CBaseFile& file) {
    file.SeekToBegin();
    CArchive archive(&file, CArchive::Loading);
    try {
        for (CArticle article;;) {
            article.Serialize(archive);
            std::cout << article.name.CreateString(kUtf8) << " cost " << Str(article.price) << '\n';
        }
    } catch (CFileException* e) {
        std::cout << (e->ErrorType() == CFileException::endOfFile ? "That was all\n" : "Unreadable\n");
        e->Delete();
    }
}

int main() {
    if (!Initialize(nullptr, nullptr))
        return 1;
    try {
        const CUnicodeString name = TempFile::New(u"art");
        CFile onDisk(name, CFile::ForReadingAndWriting);
        CMemoryFile inMemory;
        for (CBaseFile* file : {static_cast<CBaseFile*>(&onDisk), static_cast<CBaseFile*>(&inMemory)})
            store(*file, {u"Nägel", rational(5, 2)});
        std::cout << onDisk.GetLength() << " bytes, " << inMemory.GetLength() << " in memory\n";
        load(onDisk);
        onDisk.Close();

        const CUnicodeString text = FileSystem::Merge(TempFile::GetTemporaryDir(), u"guide", u"txt");
        CFile::WriteText(name, u"Nägel\r\nLeim");
        TempFile::MakePermanent(name, text); // nobody ever sees half of it
        CArray<CUnicodeString> lines;
        CFile::ReadText(text, lines, kUtf8);
        std::cout << lines.Size() << " lines in " << FileSystem::GetNameExt(text).CreateString() << '\n';
        FileSystem::Remove(text);
    } catch (CException* e) {
        Warning(e);
        e->Delete();
    }
    Clean(); // removes temporary files that nobody wanted
}
