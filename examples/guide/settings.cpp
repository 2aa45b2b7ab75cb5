#include <tarnkit/tarnkit.h>

#include <iostream>

using namespace Tarn;

enum TView { ViewList, ViewTiles };
static const CEnumItem kViews[] = {{ViewList, u"List"}, {ViewTiles, u"Tiles"}, {0, nullptr}};

static void print(const CUnicodeString& text) { std::cout << text.CreateString(65001) << '\n'; }

static void useSetup() {
    CSetup<int> width(u"Window", u"Width", 800, ST_UserSection);
    CCacheSetupEnum view(u"Window", u"View", ViewList, kViews, ST_UserSection);
    CSetupColor paper(u"Colors", u"Paper", 0xFFFFFF, ST_UserSection);
    CSetupStringArray recent(u"Books", u"Recent", ST_UserSection);
    std::cout << "The width is " << width.Get() << '\n';
    width.Set(1024);
    view.Set(ViewTiles);
    paper.Set(0x00A0FF);
    recent.Set({u"Letters, 2026", u"Plans"});
    for (const CSetupBase* value : {static_cast<CSetupBase*>(&width), static_cast<CSetupBase*>(&view),
                                    static_cast<CSetupBase*>(&paper), static_cast<CSetupBase*>(&recent)})
        print(value->GetString());
    width.SetString(u"wide"); // as a user might, with a registry editor
    std::cout << "The width is " << width.Get() << '\n';

    CRegistryKey key(true);
    key.Open(HKEY_CURRENT_USER, GetUserRegistrySection() + u"\\Window");
    CArray<CUnicodeString> names;
    key.GetStringValueNames(names);
    std::cout << names.Size() << " values below Window\n";
}

static void useIniFile() {
    const CUnicodeString name = TempFile::New(u"ini");
    CFile::WriteText(name, u"; written by hand\r\n[Paths]\r\nBooks=\\books\r\n");
    CIniFile file(name);
    print(file.GetString(u"paths", u"BOOKS", u"none"));
    file.SetString(u"Paths", u"Backup", u"\\backup");
    file.Save();
    const CIniFile saved(name);
    print(saved.GetString(u"Paths", u"Backup", u"none"));
}

int main() {
    if (!Initialize(u"Software\\TarnkitGuide", u"Software\\TarnkitGuide"))
        return 1;
    try {
        useSetup();
        useIniFile();
    } catch (CException* e) {
        Warning(e);
        e->Delete();
    }
    CRegistryKey software(false);
    software.Open(HKEY_CURRENT_USER, u"Software");
    software.DeleteSubKey(u"TarnkitGuide");
    Clean();
}
