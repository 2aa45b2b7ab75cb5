#include <tarnkit/exceptions.h>

#include <tarnkit/lifecycle.h>

#include "platform/platform.h"

#include <gtest/gtest.h>

namespace Tarn {
namespace {

CUnicodeString textOf(IErrorInfo* info, HRESULT (STDMETHODCALLTYPE IErrorInfo::*getter)(BSTR*)) {
    BSTR text = nullptr;
    EXPECT_EQ((info->*getter)(nullptr), E_INVALIDARG);
    EXPECT_EQ((info->*getter)(&text), S_OK);
    const CUnicodeString result = reinterpret_cast<const char16_t*>(text);
    Platform::SysFreeString(text);
    return result;
}

void expectContents(IErrorInfo* info, const char16_t* source, const char16_t* description,
                    const char16_t* helpFile, DWORD helpContext) {
    EXPECT_EQ(textOf(info, &IErrorInfo::GetSource), source);
    EXPECT_EQ(textOf(info, &IErrorInfo::GetDescription), description);
    EXPECT_EQ(textOf(info, &IErrorInfo::GetHelpFile), helpFile);
    DWORD context = 0;
    EXPECT_EQ(info->GetHelpContext(nullptr), E_INVALIDARG);
    EXPECT_EQ(info->GetHelpContext(&context), S_OK);
    EXPECT_EQ(context, helpContext);
}

TEST(ErrorInfo, AnswersForItsInterfacesAndEndsWithItsLastReference) {
    IErrorInfo* info = new CErrorInfoImpl(u"d", 1, u"h");
    void* found = nullptr;
    EXPECT_EQ(info->QueryInterface(IID_IErrorInfo, &found), S_OK);
    EXPECT_EQ(found, info);
    EXPECT_EQ(info->QueryInterface(IID_IUnknown, &found), S_OK);
    const GUID other = {1, 2, 3, {}};
    EXPECT_EQ(info->QueryInterface(other, &found), E_NOINTERFACE);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(info->QueryInterface(IID_IUnknown, nullptr), E_INVALIDARG);
    EXPECT_EQ(info->AddRef(), 3u) << "two queries have counted before";
    EXPECT_EQ(info->Release(), 2u);
    EXPECT_EQ(info->Release(), 1u);
    EXPECT_EQ(info->Release(), 0u);
}

TEST(ErrorInfo, TakesItsTextsFromTheCallerOrFromALateBoundCall) {
    SetAppTitle(u"Title");
    auto* info = new CErrorInfoImpl(u"description", 12, u"file.hlp");
    info->AddRef();
    expectContents(info, u"Title", u"description", u"file.hlp", 12);
    auto* copy = new CErrorInfoImpl(*info);
    EXPECT_EQ(info->Release(), 0u);
    EXPECT_EQ(copy->AddRef(), 1u) << "a copy starts without references";
    expectContents(copy, u"Title", u"description", u"file.hlp", 12);
    copy->Release();

    EXCEPINFO late = {};
    late.dwHelpContext = 3;
    auto* bare = new CErrorInfoImpl(late);
    bare->AddRef();
    expectContents(bare, u"Title", u"", u"", 3);
    bare->Release();

    late.bstrSource = Platform::SysAllocString(u"server");
    late.bstrDescription = Platform::SysAllocString(u"what");
    late.bstrHelpFile = Platform::SysAllocString(u"where");
    auto* full = new CErrorInfoImpl(late);
    for (BSTR text : {late.bstrSource, late.bstrDescription, late.bstrHelpFile})
        Platform::SysFreeString(text);
    full->AddRef();
    expectContents(full, u"server", u"what", u"where", 3);
    full->Release();
    SetAppTitle(u"");
}

} // namespace
} // namespace Tarn
