/// \file
/// Letters with combining marks, and the single characters that are canonically equivalent.
///
/// The table has every such pair of the Basic Multilingual Plane in a script that some code page can write.
/// The n-th letter of a row followed by the row's mark is the row's n-th character.
#include "platform/posix/text/code_page.h"

#include <string_view>

namespace Tarn::Platform::Posix {
namespace {

struct MarkedLetters {
    char16_t mark;
    std::u16string_view letters;
    std::u16string_view characters;
};

constexpr MarkedLetters kMarkedLetters[] = {
    // Grave accent
    {0x0300,
     u"AEIOUaeiouÜüNnЕИеиĒēŌōWwÂâĂăÊêÔôƠơƯưYyἀἁἈἉἐἑἘἙἠἡἨἩἰἱἸἹὀὁὈὉὐὑὙὠὡὨὩαεηιουωΑΕΗ᾿ϊΙ῾ϋ"
     u"Υ¨ΟΩ",
     u"ÀÈÌÒÙàèìòùǛǜǸǹЀЍѐѝḔḕṐṑẀẁẦầẰằỀềỒồỜờỪừỲỳἂἃἊἋἒἓἚἛἢἣἪἫἲἳἺἻὂὃὊὋὒὓὛὢὣὪὫὰὲὴὶὸὺὼᾺῈῊ῍ῒῚ῝ῢ"
     u"Ὺ῭ῸῺ"},
    // Acute accent
    {0x0301,
     u"AEIOUYaeiouyCcLlNnRrSsZzÜüGgÅåÆæØø¨ΑΕΗΙΟΥΩϊαεηιϋουωϒГКгкÇçĒēÏïKkMmÕõŌōPpŨũWwÂâĂă"
     u"ÊêÔôƠơƯưἀἁἈἉἐἑἘἙἠἡἨἩἰἱἸἹὀὁὈὉὐὑὙὠὡὨὩ᾿῾",
     u"ÁÉÍÓÚÝáéíóúýĆćĹĺŃńŔŕŚśŹźǗǘǴǵǺǻǼǽǾǿ΅ΆΈΉΊΌΎΏΐάέήίΰόύώϓЃЌѓќḈḉḖḗḮḯḰḱḾḿṌṍṒṓṔṕṸṹẂẃẤấẮắ"
     u"ẾếỐốỚớỨứἄἅἌἍἔἕἜἝἤἥἬἭἴἵἼἽὄὅὌὍὔὕὝὤὥὬὭ῎῞"},
    // Circumflex accent
    {0x0302, u"AEIOUaeiouCcGgHhJjSsWwYyZzẠạẸẹỌọ", u"ÂÊÎÔÛâêîôûĈĉĜĝĤĥĴĵŜŝŴŵŶŷẐẑẬậỆệỘộ"},
    // Tilde
    {0x0303, u"ANOanoIiUuVvÂâĂăEeÊêÔôƠơƯưYy", u"ÃÑÕãñõĨĩŨũṼṽẪẫẴẵẼẽỄễỖỗỠỡỮữỸỹ"},
    // Macron
    {0x0304, u"AaEeIiOoUuÜüÄäȦȧÆæǪǫÖöÕõȮȯYyИиУуGgḶḷṚṛαΑιΙυΥ",
     u"ĀāĒēĪīŌōŪūǕǖǞǟǠǡǢǣǬǭȪȫȬȭȰȱȲȳӢӣӮӯḠḡḸḹṜṝᾱᾹῑῙῡῩ"},
    // Breve
    {0x0306, u"AaEeGgIiOoUuУИиуЖжАаЕеȨȩẠạαΑιΙυΥ", u"ĂăĔĕĞğĬĭŎŏŬŭЎЙйўӁӂӐӑӖӗḜḝẶặᾰᾸῐῘῠῨ"},
    // Dot above
    {0x0307, u"CcEeGgIZzAaOoBbDdFfHhMmNnPpRrSsŚśŠšṢṣTtWwXxYyſ",
     u"ĊċĖėĠġİŻżȦȧȮȯḂḃḊḋḞḟḢḣṀṁṄṅṖṗṘṙṠṡṤṥṦṧṨṩṪṫẆẇẊẋẎẏẛ"},
    // Diaeresis
    {0x0308, u"AEIOUaeiouyYΙΥιυϒЕІеіАаӘәЖжЗзИиОоӨөЭэУуЧчЫыHhÕõŪūWwXxt",
     u"ÄËÏÖÜäëïöüÿŸΪΫϊϋϔЁЇёїӒӓӚӛӜӝӞӟӤӥӦӧӪӫӬӭӰӱӴӵӸӹḦḧṎṏṺṻẄẅẌẍẗ"},
    // Hook above
    {0x0309, u"AaÂâĂăEeÊêIiOoÔôƠơUuƯưYy", u"ẢảẨẩẲẳẺẻỂểỈỉỎỏỔổỞởỦủỬửỶỷ"},
    // Ring above
    {0x030A, u"AaUuwy", u"ÅåŮůẘẙ"},
    // Double acute accent
    {0x030B, u"OoUuУу", u"ŐőŰűӲӳ"},
    // Caron
    {0x030C, u"CcDdEeLlNnRrSsTtZzAaIiOoUuÜüGgKkƷʒjHh", u"ČčĎďĚěĽľŇňŘřŠšŤťŽžǍǎǏǐǑǒǓǔǙǚǦǧǨǩǮǯǰȞȟ"},
    // Double grave accent
    {0x030F, u"AaEeIiOoRrUuѴѵ", u"ȀȁȄȅȈȉȌȍȐȑȔȕѶѷ"},
    // Inverted breve
    {0x0311, u"AaEeIiOoRrUu", u"ȂȃȆȇȊȋȎȏȒȓȖȗ"},
    // Comma above
    {0x0313, u"αΑεΕηΗιΙοΟυωΩρ", u"ἀἈἐἘἠἨἰἸὀὈὐὠὨῤ"},
    // Reversed comma above
    {0x0314, u"αΑεΕηΗιΙοΟυΥωΩρΡ", u"ἁἉἑἙἡἩἱἹὁὉὑὙὡὩῥῬ"},
    // Horn
    {0x031B, u"OoUu", u"ƠơƯư"},
    // Dot below
    {0x0323, u"BbDdHhKkLlMmNnRrSsTtVvWwZzAaEeIiOoƠơUuƯưYy", u"ḄḅḌḍḤḥḲḳḶḷṂṃṆṇṚṛṢṣṬṭṾṿẈẉẒẓẠạẸẹỊịỌọỢợỤụỰựỴỵ"},
    // Diaeresis below
    {0x0324, u"Uu", u"Ṳṳ"},
    // Ring below
    {0x0325, u"Aa", u"Ḁḁ"},
    // Comma below
    {0x0326, u"SsTt", u"ȘșȚț"},
    // Cedilla
    {0x0327, u"CcGgKkLlNnRrSsTtEeDdHh", u"ÇçĢģĶķĻļŅņŖŗŞşŢţȨȩḐḑḨḩ"},
    // Ogonek
    {0x0328, u"AaEeIiUuOo", u"ĄąĘęĮįŲųǪǫ"},
    // Circumflex accent below
    {0x032D, u"DdEeLlNnTtUu", u"ḒḓḘḙḼḽṊṋṰṱṶṷ"},
    // Breve below
    {0x032E, u"Hh", u"Ḫḫ"},
    // Tilde below
    {0x0330, u"EeIiUu", u"ḚḛḬḭṴṵ"},
    // Macron below
    {0x0331, u"BbDdKkLlNnRrTtZzh", u"ḆḇḎḏḴḵḺḻṈṉṞṟṮṯẔẕẖ"},
    // Long solidus overlay
    {0x0338, u"←→↔⇐⇔⇒∃∈∋∣∥∼≃≅≈=≡≍<>≤≥≲≳≶≷≺≻⊂⊃⊆⊇⊢⊨⊩⊫≼≽⊑⊒⊲⊳⊴⊵",
     u"↚↛↮⇍⇎⇏∄∉∌∤∦≁≄≇≉≠≢≭≮≯≰≱≴≵≸≹⊀⊁⊄⊅⊈⊉⊬⊭⊮⊯⋠⋡⋢⋣⋪⋫⋬⋭"},
    // Greek perispomeni
    {0x0342, u"ἀἁἈἉἠἡἨἩἰἱἸἹὐὑὙὠὡὨὩα¨η᾿ιϊ῾υϋω", u"ἆἇἎἏἦἧἮἯἶἷἾἿὖὗὟὦὧὮὯᾶ῁ῆ῏ῖῗ῟ῦῧῶ"},
    // Greek ypogegrammeni
    {0x0345, u"ἀἁἂἃἄἅἆἇἈἉἊἋἌἍἎἏἠἡἢἣἤἥἦἧἨἩἪἫἬἭἮἯὠὡὢὣὤὥὦὧὨὩὪὫὬὭὮὯὰαάᾶΑὴηήῆΗὼωώῶΩ",
     u"ᾀᾁᾂᾃᾄᾅᾆᾇᾈᾉᾊᾋᾌᾍᾎᾏᾐᾑᾒᾓᾔᾕᾖᾗᾘᾙᾚᾛᾜᾝᾞᾟᾠᾡᾢᾣᾤᾥᾦᾧᾨᾩᾪᾫᾬᾭᾮᾯᾲᾳᾴᾷᾼῂῃῄῇῌῲῳῴῷῼ"},
    // Arabic maddah above
    {0x0653, u"ا", u"آ"},
    // Arabic hamza above
    {0x0654, u"اويەہے", u"أؤئۀۂۓ"},
    // Arabic hamza below
    {0x0655, u"ا", u"إ"},
    // Katakana-hiragana voiced sound mark
    {0x3099,
     u"かきくけこさしすせそたちつてとはひふへほうゝカキクケコサシスセソタチツテトハヒフ"
     u"ヘホウワヰヱヲヽ",
     u"がぎぐげござじずぜぞだぢづでどばびぶべぼゔゞガギグゲゴザジズゼゾダヂヅデドバビブ"
     u"ベボヴヷヸヹヺヾ"},
    // Katakana-hiragana semi-voiced sound mark
    {0x309A, u"はひふへほハヒフヘホ", u"ぱぴぷぺぽパピプペポ"},
};

constexpr char16_t kFirstComposed = 0x00C0;

constexpr bool rowsMatch() {
    for (const MarkedLetters& row : kMarkedLetters)
        if (row.letters.size() != row.characters.size() || !MayBeMark(row.mark))
            return false;
    return true;
}
static_assert(rowsMatch());

} // namespace

char16_t ComposeCharacter(char16_t letter, char16_t mark) {
    if (!MayBeMark(mark))
        return 0;
    for (const MarkedLetters& row : kMarkedLetters)
        if (row.mark == mark) {
            std::size_t index = row.letters.find(letter);
            return index == std::u16string_view::npos ? u'\0' : row.characters[index];
        }
    return 0;
}

bool DecomposeCharacter(char16_t character, char16_t* letter, char16_t* mark) {
    if (character < kFirstComposed)
        return false;
    for (const MarkedLetters& row : kMarkedLetters) {
        std::size_t index = row.characters.find(character);
        if (index != std::u16string_view::npos) {
            *letter = row.letters[index];
            *mark = row.mark;
            return true;
        }
    }
    return false;
}

} // namespace Tarn::Platform::Posix
