#include "tests/errors/reports.h"
#include "tests/support/refusing_manager.h"

namespace Tarn {
namespace {

class CatalogueTexts : public StartedForReports {};

TEST_F(CatalogueTexts, TellWhatHappenedToWhichFile) {
    // For each kind, in order: a code that leads to it and a word of its text.
    const std::pair<unsigned, const char16_t*> samples[] = {
        {1, u"unknown error"}, {107, u"not found"},   {267, u"invalid path"}, {68, u"too many"},
        {999, u"denied"},      {191, u"file handle"}, {145, u"the current"},  {62, u"is full"},
        {131, u"Seek"},        {997, u"hardware"},    {32, u"sharing"},       {167, u"locking"},
        {112, u"Disk full"},   {38, u"past its end"}};
    int kind = CFileException::none;
    for (const auto& [code, word] : samples) {
        const CFileException e(code, u"a.bin");
        EXPECT_EQ(e.ErrorType(), ++kind) << code;
        EXPECT_GE(e.MessageText().Find(word), 0) << code;
        EXPECT_GE(e.MessageText().Find(u"a.bin"), 0) << code;
    }
    EXPECT_EQ(CFileException(0x10002, u"").ErrorType(), CFileException::generic) << "codes are not truncated";
    EXPECT_EQ(AssertionOf([] { ThrowFileException(0, u"f"); }), u"ERRORS:723");
    EXPECT_EQ(AssertionOf([] { CFileException::GetErrorText(CFileException::none, u"f"); }), u"ERRORS:772");
}

TEST_F(CatalogueTexts, TellTheCodesOfTheSystem) {
    CUnicodeString denied = CLastErrorException(5).MessageText();
    EXPECT_EQ(denied.Right(2), u"\r\n") << "the system's line end stays";
    EXPECT_EQ(CLastErrorException(0x2BADF00D).MessageText(), u"Unknown Error. Error code: 0x2badf00d");

    denied.Trim();
    EXPECT_EQ(CCOMException(static_cast<HRESULT>(0x80070005)).MessageText(), denied)
        << "facility 7 holds a system code; its text is trimmed";
    EXPECT_LT(CCOMException(E_OUTOFMEMORY).MessageText().Find(u"0x"), 0)
        << "the code with which getters fail";
    EXPECT_EQ(CCOMException(static_cast<HRESULT>(0x8BADF00D)).MessageText(),
              u"Unknown COM Error. Error code: 0x8badf00d");
}

// The source, description, help file and context of an object without references. Reading them deletes it.
CUnicodeString contentsOf(IErrorInfo* info) {
    info->AddRef();
    CUnicodeString contents;
    for (const auto getter :
         {&IErrorInfo::GetSource, &IErrorInfo::GetDescription, &IErrorInfo::GetHelpFile}) {
        BSTR text = nullptr;
        EXPECT_EQ((info->*getter)(nullptr), E_INVALIDARG);
        EXPECT_EQ((info->*getter)(&text), S_OK);
        contents += CUnicodeString(reinterpret_cast<const char16_t*>(text)) + u"|";
        SysFreeString(text);
    }
    DWORD context = 0;
    EXPECT_EQ(info->GetHelpContext(&context), S_OK);
    EXPECT_EQ(info->Release(), 0u);
    return contents + UnicodeStr(context);
}

TEST(ErrorInfo, TakesItsTextsFromTheCallerOrFromALateBoundCall) {
    const auto original = new CErrorInfoImpl(u"text", 12, u"help");
    EXPECT_EQ(contentsOf(new CErrorInfoImpl(*original)), u"Tarnkit|text|help|12");
    EXPECT_EQ(contentsOf(original), u"Tarnkit|text|help|12");

    EXCEPINFO late = {};
    late.dwHelpContext = 3;
    EXPECT_EQ(contentsOf(new CErrorInfoImpl(late)), u"Tarnkit|||3");
    late.bstrSource = SysAllocString(reinterpret_cast<const OLECHAR*>(u"server"));
    late.bstrDescription = late.bstrHelpFile = SysAllocString(reinterpret_cast<const OLECHAR*>(u"text"));
    EXPECT_EQ(contentsOf(new CErrorInfoImpl(late)), u"server|text|text|3");
    SysFreeString(late.bstrSource);
    SysFreeString(late.bstrDescription);
}

TEST(COMException, HoldsErrorInformationThatAnswersForItsInterfaces) {
    try {
        ThrowCOMException(E_FAIL, u"the server is asleep", u"house.hlp", 7);
    } catch (CCOMException* e) {
        EXPECT_EQ(e->GetHRESULT(), E_FAIL);
        EXPECT_EQ(e->MessageText(), u"the server is asleep");
        IErrorInfo* const information = e->GetErrorInfo();
        void* found = nullptr;
        EXPECT_EQ(information->QueryInterface(IID_IErrorInfo, &found), S_OK);
        EXPECT_EQ(information->QueryInterface(IID_IUnknown, &found), S_OK);
        EXPECT_EQ(found, information);
        EXPECT_EQ(information->QueryInterface(IID_IUnknown, nullptr), E_INVALIDARG);
        EXPECT_EQ(information->QueryInterface(GUID{1, 2, 3, {}}, &found), E_NOINTERFACE);
        e->Delete();
        EXPECT_EQ(information->Release(), 1u) << "two queries and the exception each held a reference";
        EXPECT_EQ(information->Release(), 0u);
    }
    EXPECT_EQ(CCOMException(E_INVALIDARG, new CErrorInfoImpl(u"", 0, u"")).MessageText(),
              CCOMException(E_INVALIDARG).MessageText())
        << "no description";
}

// The sanitizer rightly objects to calls through a null pointer, but clients make them.
__attribute__((noinline, no_sanitize("undefined"))) void deleteThroughNull() {
    CException* volatile none = nullptr;
    none->Delete();
}

TEST(Exceptions, LiveOutsideTheCurrentMemoryManager) {
    CRefusingManager refusing;
    CMemoryManagerSwitcher switcher(&refusing);
    EXPECT_TRUE(refusing.TryWith(0, [] {
        Delete(new CFileException(CFileException::badSeek, u"gone.bin"));
        Delete(nullptr);
        deleteThroughNull();
    }));
}

TEST(MemoryException, IsOneObjectThatSurvivesItsDeletion) {
    CException* const first = new CMemoryException;
    CException* const second = new CMemoryException;
    EXPECT_EQ(second, first);
    second->Delete();
    EXPECT_EQ(first->MessageText(), u"Not enough memory!") << "the other one is still in flight";
    EXPECT_EQ(first->MessageText().Ptr(), first->MessageText().Ptr()) << "no body is allocated for the text";
    EXPECT_EQ(AssertionOf([] { CMemoryException::operator new(sizeof(CMemoryException) + 1); }),
              u"ERRORS:317");
    CMemoryException elsewhere;
    EXPECT_EQ(AssertionOf([&] { elsewhere.Delete(); }), u"ERRORS:323");
}

} // namespace
} // namespace Tarn
