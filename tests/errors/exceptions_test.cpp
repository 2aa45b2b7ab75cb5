#include <tarnkit/exceptions.h>

#include <tarnkit/lifecycle.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/messages.h>
#include <tarnkit/pool_allocators.h>

#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace Tarn {
namespace {

// The assertion that `action` fails with, as "source line"; empty when it fails with none.
template<class Action>
std::u16string assertionOf(Action action) {
    try {
        action();
    } catch (CInternalError* e) {
        std::u16string result = e->SourceFile();
        for (char digit : " " + std::to_string(e->Line()))
            result += static_cast<char16_t>(digit);
        e->Delete();
        return result;
    }
    return u"";
}

// The library with its catalogue, for the tests of texts.
class CatalogueTexts : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(Initialize(nullptr, nullptr)); }
    void TearDown() override { Clean(); }
};

TEST(FileException, FindsItsKindForEverySystemCode) {
    const std::map<CFileException::TType, std::set<unsigned>> listed = {
        {CFileException::fileNotFound, {2, 6, 18, 107}},
        {CFileException::badPath,
         {3, 15, 17, 34, 52, 53, 55, 67, 70, 85, 111, 123, 124, 125, 144, 154, 161, 206, 208, 267}},
        {CFileException::tooManyOpenFiles, {4, 36, 68, 113}},
        {CFileException::accessDenied, {5, 12, 19, 29, 54, 58, 64, 65, 71, 80, 82, 86, 170, 183, 999}},
        {CFileException::invalidFile, {11, 26, 60, 66, 114, 182, 191, 193}},
        {CFileException::removeCurrentDir, {16, 145}},
        {CFileException::directoryFull, {62}},
        {CFileException::badSeek, {24, 25, 27, 30, 131, 132}},
        {CFileException::hardIO, {20, 21, 22, 23, 57, 59, 88, 117, 995, 996, 997}},
        {CFileException::sharingViolation, {32}},
        {CFileException::lockViolation, {33, 108, 167}},
        {CFileException::diskFull, {39, 112}},
        {CFileException::endOfFile, {38}},
    };
    std::map<unsigned, CFileException::TType> kinds;
    for (const auto& [kind, codes] : listed)
        for (unsigned code : codes)
            kinds[code] = kind;
    for (unsigned code = 1; code < 1100; code++) {
        const CFileException e(code, u"f");
        EXPECT_EQ(e.ErrorType(), kinds.count(code) ? kinds[code] : CFileException::generic) << code;
        EXPECT_EQ(e.ErrorCode(), code);
    }
}

TEST(FileException, RefusesTheCodeAndTheKindThatMeanNoFailure) {
    EXPECT_EQ(assertionOf([] { ThrowFileException(0, u"f"); }), u"ERRORS 723");
    EXPECT_EQ(assertionOf([] { CFileException::GetErrorText(CFileException::none, u"f"); }), u"ERRORS 772");
}

TEST(FileException, IsThrownByCodeAndByKindAndCaughtByItsOwnTypeAndTheBase) {
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
    const char16_t* const texts[] = {u"An unknown error occurred while accessing F.",
                                     u"F was not found.",
                                     u"F contains an invalid path.",
                                     u"F could not be opened because there are too many open files.",
                                     u"Access to F was denied.",
                                     u"An invalid file handle was associated with F.",
                                     u"F could not be removed because it is the current directory.",
                                     u"F could not be created because the directory is full.",
                                     u"Seek failed on F.",
                                     u"A hardware I/O error was reported while accessing F.",
                                     u"A sharing violation occurred while accessing F.",
                                     u"A locking violation occurred while accessing F.",
                                     u"Disk full while accessing F.",
                                     u"An attempt was made to access F past its end."};
    for (int type = 1; type <= static_cast<int>(std::size(texts)); type++)
        EXPECT_EQ(CFileException(static_cast<CFileException::TType>(type), u"F").MessageText(),
                  texts[type - 1]);
}

TEST_F(CatalogueTexts, TellCodesOfTheSystem) {
    const CUnicodeString known = CLastErrorException(2).MessageText();
    EXPECT_EQ(known.Right(2), u"\r\n") << "the system's line end stays";
    EXPECT_EQ(CLastErrorException(0x2BADF00D).MessageText(), u"Unknown Error. Error code: 0x2badf00d");

    CUnicodeString denied = CLastErrorException(5).MessageText();
    denied.Trim();
    EXPECT_EQ(CCOMException(static_cast<HRESULT>(0x80070005)).MessageText(), denied)
        << "facility 7 holds a system code; its text is trimmed";
    EXPECT_EQ(CCOMException(static_cast<HRESULT>(0x8BADF00D)).MessageText(),
              u"Unknown COM Error. Error code: 0x8badf00d");
}

TEST(CheckException, SubstitutesItsParameters) {
    static CError error(u"ERR_OF_NO_MODULE", 0);
    const CCheckException e(error, u"a", u"b", u"c");
    EXPECT_EQ(&e.Error(), &error);
    EXPECT_EQ(e.MessageText(), u"ERR_OF_NO_MODULE a b c");
}

// Error information that counts its references and tells a given description.
class CTestErrorInfo final : public IErrorInfo {
public:
    explicit CTestErrorInfo(const CUnicodeString& text) : implementation(new CErrorInfoImpl(text, 0, u"")) {
        implementation->AddRef();
    }
    CTestErrorInfo(const CTestErrorInfo&) = delete;
    CTestErrorInfo& operator=(const CTestErrorInfo&) = delete;
    ~CTestErrorInfo() { implementation->Release(); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE GetGUID(GUID*) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR*) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* text) override {
        return implementation->GetDescription(text);
    }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR*) override { return E_FAIL; }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD*) override { return E_FAIL; }

    ULONG references = 0;

private:
    CErrorInfoImpl* implementation;
};

TEST(COMException, HoldsItsErrorInformationAndPrefersItsDescription) {
    CTestErrorInfo described(u"the server is asleep"), empty(u"");
    try {
        ThrowCOMException(E_FAIL, &described);
    } catch (CCOMException* e) {
        EXPECT_EQ(described.references, 1u);
        EXPECT_EQ(e->GetHRESULT(), E_FAIL);
        EXPECT_EQ(e->GetErrorInfo(), &described);
        EXPECT_EQ(e->MessageText(), u"the server is asleep");
        e->Delete();
    }
    EXPECT_EQ(described.references, 0u);
    EXPECT_EQ(CCOMException(E_INVALIDARG, &empty).MessageText(), CCOMException(E_INVALIDARG).MessageText());
}

TEST(COMException, IsThrownWithErrorInformationOfItsOwn) {
    try {
        ThrowCOMException(E_FAIL, u"no such room", u"house.hlp", 7);
    } catch (CCOMException* e) {
        DWORD context = 0;
        EXPECT_EQ(e->GetErrorInfo()->GetHelpContext(&context), S_OK);
        EXPECT_EQ(context, 7u);
        EXPECT_EQ(e->MessageText(), u"no such room");
        e->Delete();
    }
}

TEST(MemoryException, IsOneObjectThatSurvivesItsDeletion) {
    CMemoryException* first = nullptr;
    try {
        ThrowMemoryException();
    } catch (CMemoryException* e) {
        first = e;
    }
    try {
        throw new CMemoryException;
    } catch (CException* e) {
        EXPECT_EQ(e, first);
        e->Delete();
    }
    EXPECT_EQ(first->MessageText(), u"Not enough memory!") << "the other one is still in flight";
    EXPECT_EQ(first->MessageText().Ptr(), first->MessageText().Ptr()) << "no body is made for the text";
    first->Delete();
}

TEST(MemoryException, RefusesOtherMemoryThanItsOwn) {
    EXPECT_EQ(assertionOf([] { CMemoryException::operator new(sizeof(CMemoryException) + 1); }),
              u"ERRORS 317");
    alignas(CMemoryException) static unsigned char elsewhere[sizeof(CMemoryException)];
    auto* e = ::new (static_cast<void*>(elsewhere)) CMemoryException;
    EXPECT_EQ(assertionOf([e] { e->Delete(); }), u"ERRORS 323");
}

class CRefusingManager : public IMemoryManager {
public:
    void* Alloc(int) override { ThrowMemoryException(); }
    void Free(void*) override {}
};

TEST(Exceptions, LiveOutsideTheCurrentMemoryManager) {
    CRefusingManager refusing;
    CMemoryManagerSwitcher switcher(&refusing);
    EXPECT_THROW(delete new int, CMemoryException*);
    EXPECT_EQ(assertionOf([] { GenAssert(u"anywhere", 5); }), u"anywhere 5");

    CException* survivor = nullptr;
    {
        CStackManager shortLived;
        CMemoryManagerSwitcher inner(&shortLived);
        try {
            throw new CFileException(CFileException::badSeek, u"gone.bin");
        } catch (CException* e) {
            survivor = e;
        }
        EXPECT_EQ(shortLived.AllocatedSize(), 0);
    }
    EXPECT_EQ(static_cast<CFileException*>(survivor)->FileName(), u"gone.bin");
    survivor->Delete();
}

} // namespace
} // namespace Tarn
