#include "book.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/messages.h>
#include <tarnkit/temp_file.h>

using namespace Tarn;

namespace {

constexpr int kBufferSize = 4096;

} // namespace

void CBook::Load(const CUnicodeString& fileName) {
    CFile file(fileName, CFile::ForReading | CFile::DenyWrite);
    CArchive archive(&file, CArchive::Loading, kBufferSize);
    CBook loaded;
    loaded.load(archive);
    notes.Swap(loaded.notes);
}

void CBook::load(CArchive& archive) {
    if (archive.SerializeVersion(kVersion) < kVersion)
        GenCheck(ERR_BAD_ARCHIVE_VERSION, archive.Name());
    const int count = archive.ReadSmallValue();
    if (count < 0)
        GenCheck(ERR_BAD_ARCHIVE, archive.Name());
    for (int i = 0; i < count; i++) {
        CNote note;
        archive >> note.Title >> note.Text;
        notes.Add(note);
    }
    if (!archive.IsEndOfArchive())
        GenCheck(ERR_BAD_ARCHIVE, archive.Name());
}

void CBook::Save(const CUnicodeString& fileName) const {
    CUnicodeString fullName(fileName);
    FileSystem::MakeFullPath(fullName);
    // The old book stays untouched until the new one is complete on the disk beside it.
    const CUnicodeString tempName = TempFile::NewInDir(FileSystem::GetDrivePath(fullName), u"nbk");
    try {
        CFile file(tempName, CFile::ForWriting | CFile::Create);
        CArchive archive(&file, CArchive::Storing, kBufferSize);
        store(archive);
        archive.Close();
        file.Flush();
        file.Close();
        TempFile::MakePermanent(tempName, fullName);
    } catch (CException*) {
        if (TempFile::IsTempFile(tempName))
            TempFile::Delete(tempName);
        throw;
    }
}

void CBook::store(CArchive& archive) const {
    archive.SerializeVersion(kVersion);
    archive.WriteSmallValue(notes.Size());
    for (const CNote& note : notes)
        archive << note.Title << note.Text;
}
