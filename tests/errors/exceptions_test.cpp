#include <tarnkit/exceptions.h>

#include <tarnkit/lifecycle.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/pool_allocators.h>
#include <tarnkit/text_of_values.h>

#include <gtest/gtest.h>

#include <set>

namespace Tarn {
namespace {

// The assertion that `action` fails with, as "source line"; empty when it fails with none.
template<class Action>
CUnicodeString assertionOf(Action action) {
    CUnicodeString result;
    try {
        action();
    } catch (CInternalError* e) {
        result = Format(u"%s %d", e->SourceFile(), static_cast<int>(e->Line()));
        e->Delete();
    }
    return result;
}

// The library with its catalogue.
class CatalogueTexts : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(Initialize(nullptr, nullptr)); }
    void TearDown() override { Clean(); }
};

TEST(FileException, FindsItsKindForEverySystemCode) {
    const std::set<unsigned> listed[] = {
        {0},
        {},
        {2, 6, 18, 107},
        {3, 15, 17, 34, 52, 53, 55, 67, 70, 85, 111, 123, 124, 125, 144, 154, 161, 206, 208, 267},
        {4, 36, 68, 113},
        {5, 12, 19, 29, 54, 58, 64, 65, 71, 80, 82, 86, 170, 183, 999},
        {11, 26, 60, 66, 114, 182, 191, 193},
        {16, 145},
        {62},
        {24, 25, 27, 30, 131, 132},
        {20, 21, 22, 23, 57, 59, 88, 117, 995, 996, 997},
        {32},
        {33, 108, 167},
        {39, 112},
        {38}};
    for (unsigned code = 1; code < 1100; code++) {
        const CFileException e(code, u"f");
        EXPECT_EQ(e.ErrorCode(), code);
        const bool isListed = e.ErrorType() != CFileException::generic;
        for (const auto& codes : listed)
            EXPECT_EQ(codes.count(code) != 0, isListed && &codes == &listed[e.ErrorType()]) << code;
    }
    EXPECT_EQ(assertionOf([] { ThrowFileException(0, u"f"); }), u"ERRORS 723");
    EXPECT_EQ(assertionOf([] { CFileException::GetErrorText(CFileException::none, u"f"); }), u"ERRORS 772");
}

TEST(FileException, IsCaughtByItsOwnTypeAndByTheBaseWhereverItWasThrown) {
    try {
        ThrowFileException(112, u"a.bin");
    } catch (CFileException* e) {
        EXPECT_EQ(e->ErrorType(), CFileException::diskFull);
        EXPECT_EQ(e->FileName(), u"a.bin");
        e->Delete();
    }
    try {
        ThrowFileException(CFileException::endOfFile, u"b.bin");
    } catch (CException* e) {
        EXPECT_EQ(dynamic_cast<CFileException&>(*e).ErrorType(), CFileException::endOfFile);
        Delete(e);
    }
    Delete(nullptr);
}

TEST_F(CatalogueTexts, NameTheFileThatFailed) {
    const char16_t* const words[] = {u"unknown error", u"not found",   u"invalid path", u"too many",
                                     u"denied",        u"file handle", u"the current",  u"is full",
                                     u"Seek",          u"hardware",    u"sharing",      u"locking",
                                     u"Disk full",     u"past its end"};
    for (int type = 1; type <= CFileException::endOfFile; type++) {
        const CUnicodeString text = CFileException(CFileException::TType(type), u"a.bin").MessageText();
        EXPECT_GE(text.Find(words[type - 1]), 0) << type;
        EXPECT_GE(text.Find(u"a.bin"), 0) << type;
    }
}

TEST_F(CatalogueTexts, TellTheCodesOfTheSystem) {
    CUnicodeString denied = CLastErrorException(5).MessageText();
    EXPECT_EQ(denied.Right(2), u"\r\n") << "the system's line end stays";
    EXPECT_EQ(CLastErrorException(0x2BADF00D).MessageText(), u"Unknown Error. Error code: 0x2badf00d");

    denied.Trim();
    EXPECT_EQ(CCOMException(static_cast<HRESULT>(0x80070005)).MessageText(), denied)
        << "facility 7 holds a system code; its text is trimmed";
    EXPECT_LT(CCOMException(E_OUTOFMEMORY).MessageText().Find(u"0x"), 0) << "what getters fail with";
    EXPECT_EQ(CCOMException(static_cast<HRESULT>(0x8BADF00D)).MessageText(),
              u"Unknown COM Error. Error code: 0x8badf00d");
}

TEST(COMException, HoldsItsErrorInformationAndPrefersItsDescription) {
    IErrorInfo* information = new CErrorInfoImpl(u"the server is asleep", 0, u"");
    information->AddRef();
    try {
        ThrowCOMException(E_FAIL, information);
    } catch (CCOMException* e) {
        EXPECT_EQ(information->Release(), 1u) << "the exception has its own reference";
        EXPECT_EQ(e->GetHRESULT(), E_FAIL);
        EXPECT_EQ(e->MessageText(), u"the server is asleep");
        e->Delete();
    }
    try {
        ThrowCOMException(E_INVALIDARG, u"", u"house.hlp", 7);
    } catch (CCOMException* e) {
        EXPECT_NE(e->GetErrorInfo(), nullptr);
        EXPECT_EQ(e->MessageText(), CCOMException(E_INVALIDARG).MessageText()) << "no description";
        e->Delete();
    }
}

CUnicodeString textOf(IErrorInfo* info, HRESULT (STDMETHODCALLTYPE IErrorInfo::*getter)(BSTR*)) {
    BSTR text = nullptr;
    EXPECT_EQ((info->*getter)(nullptr), E_INVALIDARG);
    EXPECT_EQ((info->*getter)(&text), S_OK);
    const CUnicodeString result = reinterpret_cast<const char16_t*>(text);
    SysFreeString(text);
    return result;
}

// Checks what an object without references tells, and lets it go.
void expectContents(IErrorInfo* info, const char16_t* source, const char16_t* text, DWORD helpContext) {
    EXPECT_EQ(info->AddRef(), 1u);
    EXPECT_EQ(textOf(info, &IErrorInfo::GetSource), source);
    EXPECT_EQ(textOf(info, &IErrorInfo::GetDescription), text);
    EXPECT_EQ(textOf(info, &IErrorInfo::GetHelpFile), text);
    DWORD context = 0;
    EXPECT_EQ(info->GetHelpContext(&context), S_OK);
    EXPECT_EQ(context, helpContext);
    EXPECT_EQ(info->Release(), 0u);
}

TEST(ErrorInfo, TakesItsTextsFromTheCallerOrFromALateBoundCall) {
    const auto original = new CErrorInfoImpl(u"text", 12, u"text");
    original->AddRef();
    const auto copy = new CErrorInfoImpl(*original);
    EXPECT_EQ(original->Release(), 0u);
    expectContents(copy, u"Tarnkit", u"text", 12);

    EXCEPINFO late = {};
    late.dwHelpContext = 3;
    expectContents(new CErrorInfoImpl(late), u"Tarnkit", u"", 3);
    late.bstrSource = SysAllocString(reinterpret_cast<const OLECHAR*>(u"server"));
    late.bstrDescription = late.bstrHelpFile = SysAllocString(reinterpret_cast<const OLECHAR*>(u"text"));
    expectContents(new CErrorInfoImpl(late), u"server", u"text", 3);
    SysFreeString(late.bstrSource);
    SysFreeString(late.bstrDescription);
}

TEST(ErrorInfo, AnswersForItsInterfacesOnly) {
    IErrorInfo* info = new CErrorInfoImpl(u"d", 1, u"h");
    void* found = nullptr;
    EXPECT_EQ(info->QueryInterface(IID_IErrorInfo, &found), S_OK);
    EXPECT_EQ(info->QueryInterface(IID_IUnknown, &found), S_OK);
    EXPECT_EQ(found, info);
    EXPECT_EQ(info->QueryInterface(IID_IUnknown, nullptr), E_INVALIDARG);
    EXPECT_EQ(info->QueryInterface(GUID{1, 2, 3, {}}, &found), E_NOINTERFACE);
    EXPECT_EQ(info->Release(), 1u) << "two queries have counted";
    EXPECT_EQ(info->Release(), 0u);
}

TEST(MemoryException, IsOneObjectThatSurvivesItsDeletion) {
    CMemoryException* first = nullptr;
    try {
        ThrowMemoryException();
    } catch (CMemoryException* e) {
        first = e;
    }
    CException* second = new CMemoryException;
    EXPECT_EQ(second, first);
    second->Delete();
    EXPECT_EQ(first->MessageText(), u"Not enough memory!") << "the other one is still in flight";
    EXPECT_EQ(first->MessageText().Ptr(), first->MessageText().Ptr()) << "no body is made for the text";
    first->Delete();

    EXPECT_EQ(assertionOf([] { CMemoryException::operator new(sizeof(CMemoryException) + 1); }),
              u"ERRORS 317");
    CMemoryException elsewhere;
    EXPECT_EQ(assertionOf([&] { elsewhere.Delete(); }), u"ERRORS 323");
}

class CRefusingManager : public IMemoryManager {
public:
    void* Alloc(int) override { ThrowMemoryException(); }
    void Free(void*) override {}
};

TEST(Exceptions, LiveOutsideTheCurrentMemoryManager) {
    CRefusingManager refusing;
    CMemoryManagerSwitcher switcher(&refusing);
    EXPECT_THROW(alloc_new(4), CMemoryException*);
    EXPECT_EQ(assertionOf([] { GenAssert(u"anywhere", 5); }), u"anywhere 5");

    CException* survivor = nullptr;
    {
        CStackManager shortLived;
        CMemoryManagerSwitcher inner(&shortLived);
        survivor = new CFileException(CFileException::badSeek, u"gone.bin");
        EXPECT_EQ(shortLived.AllocatedSize(), 0);
    }
    EXPECT_EQ(static_cast<CFileException*>(survivor)->FileName(), u"gone.bin");
    survivor->Delete();
}

} // namespace
} // namespace Tarn
