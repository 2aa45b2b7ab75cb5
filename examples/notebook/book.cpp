#include "book.h"
#include "note_time.h"

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
    Load(file);
}

void CBook::Load(CBaseFile& file) {
    CArchive archive(&file, CArchive::Loading, kBufferSize);
    CBook loaded;
    loaded.load(archive);
    notes.Swap(loaded.notes);
}

void CBook::load(CArchive& archive) {
    const int version = archive.SerializeVersion(kVersion);
    if (version < kVersionWithoutTimes)
        GenCheck(ERR_BAD_ARCHIVE_VERSION, archive.Name());
    const int count = archive.ReadSmallValue();
    if (count < 0)
        GenCheck(ERR_BAD_ARCHIVE, archive.Name());
    for (int i = 0; i < count; i++) {
        CNote note;
        archive >> note.Title >> note.Text;
        if (version > kVersionWithoutTimes)
            archive >> note.Time;
        if (!IsNoteTime(note.Time))
            GenCheck(ERR_BAD_ARCHIVE, archive.Name());
        notes.Add(note);
    }
    if (!archive.IsEndOfArchive())
        GenCheck(ERR_BAD_ARCHIVE, archive.Name());
}

void CBook::Save(const CUnicodeString& fileName) const {
    CUnicodeString fullName(fileName);
    FileSystem::MakeFullPath(fullName);
    // The old book stays untouched until the new one is complete and stored beside it.
    const CUnicodeString tempName = TempFile::NewInDir(FileSystem::GetDrivePath(fullName), u"nbk");
    try {
        CFile file(tempName, CFile::ForWriting | CFile::Create);
        Save(file);
        file.Close();
        TempFile::MakePermanent(tempName, fullName);
    } catch (CException*) {
        if (TempFile::IsTempFile(tempName))
            TempFile::Delete(tempName);
        throw;
    }
}

void CBook::Save(CBaseFile& file) const {
    CArchive archive(&file, CArchive::Storing, kBufferSize);
    store(archive);
    archive.Close();
}

void CBook::store(CArchive& archive) const {
    archive.SerializeVersion(kVersion);
    archive.WriteSmallValue(notes.Size());
    for (const CNote& note : notes)
        archive << note.Title << note.Text << note.Time;
}
