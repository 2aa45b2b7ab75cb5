#include <tarnkit/byte_order.h>
#include <tarnkit/file.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/messages.h>
#include <tarnkit/resource_modules.h>

#include "catalogue/resource_registry.h"
#include "memory/process_mutex.h"
#include "platform/fork.h"
#include "strings/byte_order_mark.h"

#include <mutex>

namespace Tarn {

namespace {

using CNames = CArray<CUnicodeString, CurrentMemoryManager>;

void sortAndUnite(CNames& names) {
    names.Sort(CUnicodeString::Cmp);
    names.DeleteAdjacentDuplicates();
}

// The names that are in `names` and not in `others`; both ascending, without duplicates.
CNames subtract(const CNames& names, const CNames& others) {
    CNames rest;
    int other = 0;
    for (const CUnicodeString& name : names) {
        while (other < others.Size() && others[other] < name)
            other++;
        if (other == others.Size() || others[other] != name)
            rest.Add(name);
    }
    return rest;
}

// Protects the list of messages.
constinit CProcessMutex listMutex;

void writeText(CFile& file, const CUnicodeString& text) {
    WriteLittleEndian(text.Ptr(), static_cast<std::size_t>(text.GetLength()),
                      [&file](const void* bytes, int size) { file.Write(bytes, size); });
}

// Not only names that the message compiler would accept are in the lists.
CString quoted(const CUnicodeString& name) {
    CString text;
    const CString bytes = name.CreateString(CP_UTF8);
    for (int i = 0; i < bytes.GetLength(); i++) {
        const char c = bytes[i];
        if (c == '"' || c == '\\')
            text += '\\';
        text += static_cast<unsigned char>(c) < ' ' ? '?' : c;
    }
    return text;
}

void writeLines(CFile& file, const CNames& lines) {
    for (const CUnicodeString& line : lines)
        writeText(file, line + u"\r\n");
}

} // namespace

void AttachMessages() { Platform::KeepUsableAfterFork<listMutex>(); }

constinit CMessage* CMessage::head = nullptr;

CMessage::CMessage(const char16_t* messageName, int declaredNumber)
    : name(messageName), next(nullptr), previous(nullptr), number(declaredNumber) {
    const std::lock_guard guard(listMutex);
    next = head;
    if (head != nullptr)
        head->previous = this;
    head = this;
}

CMessage::~CMessage() {
    const std::lock_guard guard(listMutex);
    if (head == this)
        head = next;
    if (previous != nullptr)
        previous->next = next;
    if (next != nullptr)
        next->previous = previous;
}

bool CMessage::IsDefined() const { return MessageID(*this) != 0; }

int MessageID(const CMessage& message) {
    HINSTANCE module;
    int id;
    FindMessage(message.Name(), module, id);
    return id;
}

CUnicodeString CMessage::UnicodeStr() const {
    CUnicodeString text;
    return LoadMessage(name, text) ? text : CUnicodeString(name);
}

CUnicodeString CMessage::UnicodeStr(int language) const {
    CMemoryManagerSwitcher switcher(nullptr);
    CUnicodeString text;
    return LoadMessageInLanguage(name, language, text) ? text : CUnicodeString(name);
}

CUnicodeString CMessage::substitute(const char16_t* const* parameters, int count) const {
    CUnicodeString text;
    if (LoadMessageFor(name, parameters, count, text))
        return text.SubstParam(parameters, count);
    CUnicodeString result = name;
    for (int i = 0; i < count; i++) {
        result += u' ';
        result += parameters[i];
    }
    return result;
}

CUnicodeString CMessage::SubstParam(const CUnicodeString& p0) const {
    const char16_t* const parameters[] = {p0};
    return substitute(parameters, 1);
}

CUnicodeString CMessage::SubstParam(const CUnicodeString& p0, const CUnicodeString& p1) const {
    const char16_t* const parameters[] = {p0, p1};
    return substitute(parameters, 2);
}

CUnicodeString CMessage::SubstParam(const CUnicodeString& p0, const CUnicodeString& p1,
                                    const CUnicodeString& p2) const {
    const char16_t* const parameters[] = {p0, p1, p2};
    return substitute(parameters, 3);
}

CUnicodeString CMessage::SubstParam(const CUnicodeString& p0, const CUnicodeString& p1,
                                    const CUnicodeString& p2, const CUnicodeString& p3) const {
    const char16_t* const parameters[] = {p0, p1, p2, p3};
    return substitute(parameters, 4);
}

CUnicodeString CMessage::SubstParam(const CArray<CUnicodeString, CurrentMemoryManager>& parameters) const {
    CArray<const char16_t*> texts;
    texts.Reserve(parameters.Size());
    for (const CUnicodeString& parameter : parameters)
        texts.Add(parameter.Ptr());
    return substitute(texts.Ptr(), texts.Size());
}

// The names of all message objects, in the form of the three lists.
CArray<CUnicodeString, CurrentMemoryManager> CMessage::usedNames() {
    CNames used;
    {
        const std::lock_guard guard(listMutex);
        for (const CMessage* message = head; message != nullptr; message = message->next)
            used.Add(CUnicodeString(message->name));
    }
    sortAndUnite(used);
    return used;
}

void CMessage::GetDefinedMessages(CArray<CUnicodeString, CurrentMemoryManager>& names) {
    names.DeleteAll();
    AppendDefinedMessages(names);
    sortAndUnite(names);
}

void CMessage::GetUndefinedMessages(CArray<CUnicodeString, CurrentMemoryManager>& names) {
    names.DeleteAll();
    HINSTANCE module;
    int id;
    for (const CUnicodeString& used : usedNames())
        if (!FindMessage(used, module, id))
            names.Add(used);
}

void CMessage::GetUnusedMessages(CArray<CUnicodeString, CurrentMemoryManager>& names) {
    CNames defined;
    GetDefinedMessages(defined);
    names = subtract(defined, usedNames());
}

void CMessage::CleanUp() {}

void SaveUndefinedMessages(const CUnicodeString& fileName) {
    CNames undefined;
    CMessage::GetUndefinedMessages(undefined);
    CNames unused;
    CMessage::GetUnusedMessages(unused);

    CFile file(fileName, CFile::Create | CFile::ForWriting | CFile::DenyWrite);
    file.WriteWord(kByteOrderMark);
    writeLines(file, undefined);
    if (!unused.IsEmpty())
        writeText(file, u"********** Unused messages ********\r\n");
    writeLines(file, unused);
    file.Close();
}

void SaveUndefinedMessagesAsPo(const CUnicodeString& fileName) {
    CNames undefined;
    CMessage::GetUndefinedMessages(undefined);
    CNames unused;
    CMessage::GetUnusedMessages(unused);

    CString text = "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n";
    for (const CUnicodeString& name : undefined)
        text += CString("\nmsgid \"") + quoted(name) + "\"\nmsgstr \"\"\n";
    if (!unused.IsEmpty())
        text += "\n# Unused:\n";
    for (const CUnicodeString& name : unused)
        text += CString("# ") + quoted(name) + "\n";
    CFile file(fileName, CFile::Create | CFile::ForWriting | CFile::DenyWrite);
    file.Write(text.Ptr(), text.GetLength());
    file.Close();
}

} // namespace Tarn
