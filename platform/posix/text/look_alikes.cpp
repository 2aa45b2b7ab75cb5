/// \file
/// The look-alikes that Windows writes for units that a code page lacks.
///
/// They were measured page by page and follow no rule. What several code pages have in common is listed once.
#include "platform/posix/text/code_page.h"

#include <algorithm>
#include <iterator>

namespace Tarn::Platform::Posix {
namespace {

// The comment above each row gives its number and the code pages that use it.
constexpr LookAlikes kShared[] = {
    // 0: 437, 850, 852, 857, 862, 866, 1250, 1251, 1252, 1253, 1254
    {u"¤§©«¬\u00AD±¶·»ÀÁÂÃÈÊËÌÍÎÏÑÒÓÔÕØÙÚÛÝáãíñóõøúýĀāĂăĄąĆćĈĉĊċČčĎďđĒēĔĕĖėĘęĚěĜĝĞğĠġĢģĤĥĦħĨĩĪīĬĭĮįİĴĵĶķĹĺĻ"
     u"ļĽľŁłŃńŅņŇňŌōŎŏŐőŔŕŖŗŘřŚśŜŝŞşŠšŢţŤťŦŧŨũŪūŬŭŮůŰűŲųŴŵŶŷŸŹźŻżŽžƀƗƚƟƠơƫƮƯưǍǎǏǐǑǒǓǔǕǖǗǘǙǚǛǜǞǟǤǥǦǧǨǩǪǫǬǭǰ–"
     u"—’“”•‰‹›├┼║╠╣╬■！＂＃＄％＆＇（）＊＋，－．／０１２３４５６７８９：；＜＝＞＠ＡＢＣＤＥＦＧＨＩＪＫ"
     u"ＬＭＮＯＰＱＲＳＴＵＶＷＸＹＺ［＼］＾＿｀ａｂｃｄｅｆｇｈｉｊｋｌｍｎｏｐｑｒｓｔｕｖｗｘｙｚ｛｜｝"
     u"～",
     u"\u000F\u0015c<┐-+\u0014\u0007>AAAAEEEIIIINOOOOOUUUYaainooouyAaAaAaCcCcCcCcDddEeEeEeEeEeGgGgGgGgHhHhI"
     u"iIiIiIiIJjKkLlLlLlLlNnNnNnOoOoOoRrRrRrSsSsSsSsTtTtTtUuUuUuUuUuUuWwYyYZzZzZzbIlOOotTUuAaIiOoUuUuUuUuU"
     u"uAaGgGgKkOoOoj--'\"\"\u0007%<>++¦¦¦+¦!\"#$%&'()*+,-./0123456789:;<=>@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^"
     u"_`abcdefghijklmnopqrstuvwxyz{|}~"},
    // 1: 437, 775, 850, 852, 857, 860, 861, 862, 863, 865
    {u"¡¢£¤¥§©ª²³µ¶º»¼½ÀÃÈÊÌÏÑÒÓÕØÙÛãñõøĀāĄąĆćĈĉĊċČčĒēĔĕĖėĘęĜĝĞğĠġĢģĤĥĦħĨĩĪīĬĭĮįİıĴĵĶķĻļŁłŃńŅņŌōŎŏŒœŖŗŚśŜŝŦ"
     u"ŧŨũŪūŬŭŲųŴŵŶŷŸŹźŻżŽžƀƒƗƚƟƠơƫƮƯưǃǍǎǏǐǑǒǓǔǕǖǗǘǙǚǛǜǞǟǤǥǦǧǨǩǪǫǬǭǰɡʼ˄ˆˈˍ˚˜\u0302\u0303\u030A\u0331\u0332"
     u"\u037Eβһ։\u066A\u2000\u2001\u2002\u2003\u2004\u2005\u2006’“”•‰‹›‼⁄⁴⁵⁶⁷₀₄₅₆₇₈₉ℂℇℊℋℌℍℎℐℑℒℓℕℙℚℛℜℝℤℨ"
     u"\u212Aℬℭ℮ℯℰℱℳℴ←↑→↓↔↕↨∕∗∘∙∟∶∼≪⌂⌃\u2329\u232A▬▲►▼◄○◘◙☺☻☼♀♂♠♣♥♦♪♫\u3000〈〉《〚",
     u"!cL\u000FY\u0015ca23u\u0014o>11AAEEIINOOOOUUanooAaAaCcCcCcCcEeEeEeEeGgGgGgGgHhHhIiIiIiIiIiJjKkLlLlNn"
     u"NnOoOoOoRrSsSsTtUuUuUuUuWwYyYZzZzZzbfIlOOotTUu!AaIiOoUuUuUuUuUuAaGgGgKkOoOojg'^^'_°~^~°__;ßh:%      "
     u" '\"\"\u0007%<>\u0013/45670456789CEgHHHhIILlNPQRRRZZKBCeeEFMo\u001B\u0018\u001A\u0019\u001D\u0012"
     u"\u0017/*°\u0007\u001C:~«\u007F^<>\u0016\u001E\u0010\u001F\u0011\u0009\u0008\u000A\u0001\u0002\u000F"
     u"\u000C\u000B\u0006\u0005\u0003\u0004\u000D\u000E <>«["},
    // 2: 737, 775, 874, 1255, 1256, 1257, 1258
    {u"§¶•！＂＃＄％＆＇（）＊＋，－．／０１２３４５６７８９：；＜＝＞＠ＡＢＣＤＥＦＧＨＩＪＫＬＭＮＯＰＱ"
     u"ＲＳＴＵＶＷＸＹＺ［＼］＾＿｀ａｂｃｄｅｆｇｈｉｊｋｌｍｎｏｐｑｒｓｔｕｖｗｘｙｚ｛｜｝～",
     u"\u0015\u0014\u0007!\"#$%&'()*+,-./0123456789:;<=>@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefghijklmnopq"
     u"rstuvwxyz{|}~"},
    // 3: 936, 949, 950, 20949
    {u"¢£¥¦¨ª\u00AD²³µ¹ºÐÝÞàáâèéêìíðòóùúüýþ―″㆒㆓㆔㆕㆖㆗㆘㆙㆚㆛㆜㆝㆞㆟㈠㈡㈢㈣㈤㈥㈦㈧㈨㈩㈪㈫㈬㈭㈮㈯㈰"
     u"㈱㈲㈳㈴㈵㈷㈹㈺㈽㉀㉁㉂㉃㊀㊁㊂㊃㊄㊅㊆㊇㊈㊉㊊㊋㊌㊍㊎㊏㊐㊑㊒㊓㊔㊕㊗㊙㊚㊛㊟㊡㊣㊪㊭㊰\uF900"
     u"\uF901\uF902\uF903\uF904\uF905\uF906\uF907\uF908\uF909\uF90A\uF90B\uF90C\uF90D\uF90E\uF90F\uF910"
     u"\uF911\uF912\uF913\uF914\uF915\uF916\uF917\uF918\uF919\uF91A\uF91B\uF91C\uF91D\uF91E\uF91F\uF920"
     u"\uF921\uF922\uF923\uF924\uF925\uF926\uF927\uF928\uF929\uF92A\uF92B\uF92D\uF92E\uF92F\uF930\uF931"
     u"\uF932\uF933\uF934\uF935\uF936\uF937\uF938\uF939\uF93A\uF93B\uF93C\uF93D\uF93E\uF93F\uF940\uF941"
     u"\uF942\uF943\uF944\uF945\uF946\uF947\uF948\uF949\uF94A\uF94B\uF94C\uF94D\uF94E\uF94F\uF950\uF951"
     u"\uF952\uF953\uF954\uF955\uF956\uF957\uF958\uF959\uF95A\uF95B\uF95C\uF95D\uF95E\uF95F\uF960\uF961"
     u"\uF962\uF963\uF964\uF965\uF966\uF967\uF968\uF969\uF96A\uF96B\uF96C\uF96D\uF96E\uF96F\uF970\uF971"
     u"\uF972\uF973\uF974\uF975\uF976\uF977\uF978\uF97A\uF97B\uF97C\uF97D\uF97E\uF97F\uF980\uF981\uF982"
     u"\uF983\uF984\uF985\uF986\uF987\uF988\uF989\uF98A\uF98B\uF98C\uF98D\uF98E\uF98F\uF990\uF991\uF992"
     u"\uF993\uF994\uF996\uF997\uF998\uF999\uF99A\uF99B\uF99C\uF99D\uF99E\uF99F\uF9A0\uF9A1\uF9A2\uF9A3"
     u"\uF9A4\uF9A5\uF9A6\uF9A7\uF9A8\uF9A9\uF9AA\uF9AB\uF9AC\uF9AD\uF9AE\uF9AF\uF9B0\uF9B1\uF9B2\uF9B3"
     u"\uF9B4\uF9B5\uF9B6\uF9B7\uF9B8\uF9B9\uF9BA\uF9BB\uF9BC\uF9BD\uF9BE\uF9BF\uF9C0\uF9C1\uF9C2\uF9C3"
     u"\uF9C4\uF9C5\uF9C6\uF9C7\uF9C8\uF9C9\uF9CA\uF9CB\uF9CC\uF9CD\uF9CE\uF9CF\uF9D0\uF9D1\uF9D2\uF9D3"
     u"\uF9D4\uF9D5\uF9D6\uF9D7\uF9D8\uF9D9\uF9DA\uF9DB\uF9DC\uF9DD\uF9DE\uF9DF\uF9E0\uF9E1\uF9E2\uF9E3"
     u"\uF9E4\uF9E5\uF9E6\uF9E8\uF9E9\uF9EA\uF9EB\uF9EC\uF9ED\uF9EE\uF9EF\uF9F0\uF9F2\uF9F3\uF9F4\uF9F5"
     u"\uF9F6\uF9F7\uF9F8\uF9F9\uF9FA\uF9FB\uF9FC\uF9FD\uF9FE\uF9FF\uFA00\uFA01\uFA02\uFA03\uFA04\uFA05"
     u"\uFA06\uFA07\uFA08\uFA09\uFA0A\uFA0B\uFA0C\uFA10\uFA12\uFA15\uFA17\uFA19\uFA1A\uFA1B\uFA1C\uFA1D"
     u"\uFA1E\uFA22\uFA25\uFA26\uFA2A\uFA2B\uFA2C\uFA2D＂＇［］＾｀",
     u"￠￡￥|‥a-23μ1oDYTaaaeeeiieoouuuyt─〃一二三四上中下甲乙丙丁天地人一二三四五六七八九十月火水木金土日"
     u"株有社名特祝代呼企祭休自至一二三四五六七八九十月火水木金土日株有社名特祝秘男女注休正宗企夜豈更車賈滑"
     u"串句龜龜契金喇奈懶癩羅蘿螺裸邏樂洛烙珞落酪駱亂卵欄爛蘭鸞嵐濫藍襤拉臘蠟廊朗浪狼來冷勞擄櫓爐盧老蘆虜路"
     u"露魯鷺碌祿綠菉錄鹿論壟弄籠聾牢磊賂雷壘屢樓淚漏累縷陋勒肋凜凌稜綾菱陵讀拏樂諾丹寧怒率異北磻便復不泌數"
     u"索參塞省葉說殺辰沈拾若掠略亮兩梁糧良諒量勵呂女廬旅濾礪閭驪麗黎力曆歷轢年憐戀撚漣煉璉練聯輦蓮連鍊列劣"
     u"咽烈裂說廉念捻殮簾獵令囹寧嶺怜玲瑩羚聆鈴零靈領例禮醴隸惡了僚寮尿料樂燎療蓼遼龍暈阮劉杻柳流溜琉留硫紐"
     u"類六戮陸倫崙淪輪律慄栗率隆利吏履易李梨泥理痢罹裡里離匿溺吝燐璘藺鱗麟林淋臨立笠粒狀炙識什茶刺切度拓糖"
     u"宅洞暴輻行降見廓兀塚晴凞益神祥福靖精羽諸逸都飯飼館鶴”’〔〕︿‘"},
    // 4: 852, 855, 860, 861, 863, 865, 866, 869, 20866, 21866
    {u"©°±¶·ÀÁÂÃÄÅÇÈÉÊËÌÍÎÏÑÒÓÔÕÖØÙÚÛÜÝàáâãäåçéêëìíîïñòóôõöøùúûüÿĀāĂăĄąĆćĈĉĊċČčĎďđĒēĔĕĖėĘęĚěĜĝĞğĠġĢģĤĥĦħĨĩĪ"
     u"īĬĭĮįİĴĵĶķĹĺĻļĽľŁłŃńŅņŇňŌōŎŏŐőŔŕŖŗŘřŚśŜŝŞşŢţŤťŦŧŨũŪūŬŭŮůŰűŲųŴŵŶŷŸŹźŻżŽžƀƗƚƟƠơƫƮƯưǍǎǏǐǑǒǓǔǕǖǗǘǙǚǛǜǞǟǤ"
     u"ǥǦǧǨǩǪǫǬǭǰ‘’“”„•‰‹›‼←↑→↓↔↕↨∟⌂▬▲►▼◄○◘◙☺☻☼♀♂",
     u"co+\u0014\u0007AAAAAACEEEEIIIINOOOOOOUUUUYaaaaaaceeeiiiinoooooouuuuyAaAaAaCcCcCcCcDddEeEeEeEeEeGgGgG"
     u"gGgHhHhIiIiIiIiIJjKkLlLlLlLlNnNnNnOoOoOoRrRrRrSsSsSsTtTtTtUuUuUuUuUuUuWwYyYZzZzZzbIlOOotTUuAaIiOoUuU"
     u"uUuUuUuAaGgGgKkOoOoj''\"\"\"\u0007%<>\u0013\u001B\u0018\u001A\u0019\u001D\u0012\u0017\u001C\u007F"
     u"\u0016\u001E\u0010\u001F\u0011\u0009\u0008\u000A\u0001\u0002\u000F\u000C\u000B"},
    // 5: 437, 862, 1250, 1252, 1254
    {u"¡¢£¥¦¨ª®²³´¸¹º¼½×ıŒœƒƶǀǃɡʹʺʼ˄ˆˈˋˍ˚˜\u0300\u0302\u0331\u0332βμһ։\u066A\u2000\u2001\u2002\u2003\u2004"
     u"\u2005\u2006‐‑‘‚„†‡…′‵⁄⁰⁴⁵⁶⁷⁸₄₅₆₇₈₉ℂℇℊℋℌℍℎℐℑℒℓℕ℘ℙℚℛℜℝ™ℤℨ\u212Aℬℭ℮ℯℰℱℳℴ−∓∕∖∗∘∣∶∼≪≫⋅⌃\u2329\u232A❘"
     u"\u3000〈〉《》〚・",
     u"!cLY▌\"ar23',1o11xiOofz|!g'\"'^^'`_°~`^__ßµh:%       --`,,+╪.'`/°45678456789CEgHHHhIILlNPPQRRRTZZKBC"
     u"eeEFMo-±/\\*°|:~«»·^<>| <>«»[·"},
    // 6: 932, 949, 950, 1250, 1251, 1253, 1254, 20949
    {u"¦\u00AD®µ·ÀÁÂÃÄÅÇÈÉÊËÌÍÎÏÑÒÓÔÕÖØÙÚÛÜÝàáâãäåçèéêëìíîïñòóôõöøùúûüýÿ↑┌┐└┘┤┬┴▲○♀♂",
     u"|-Rμ・AAAAAACEEEEIIIINOOOOOOUUUUYaaaaaaceeeeiiiinoooooouuuuyy^-¬L-+T+^0+>"},
    // 7: 860, 861, 863, 865
    {u"¦¨®¯´¸¾ÆÐ×Þæðýþƶˉˋ\u0300\u0304\u0305ΑΔΕΠΤμ‗†‡․′⁰⁸₁₂₤₧\u20DD℘™\u2126∅∑−∓∖∣⋅⌐✓❘〇〛・",
     u"│\"r\u0016/,3ADXTadytz\u0016``\u0016\u0016αδεπτµ_┼╪\u0007'081²£POptΩOΣ_±\\|\u0007¬√│O]\u0007"},
    // 8: 775, 852, 857
    {u"¦®¯¹¾ÆàæèêìïòùûÿƑƶǀʹʺʻˋ\u0300\u0304\u0305\u030E‐‑–—‘‚„†‡․…′″‵⁰⁸₁₂₃₤℘™\u212B∅−∖∣≫⋅❘❛❜❝❞》〝〞〟・ー",
     u"|R─13AaaceiiouuyFz|'\"'``──\"----''\"┼┼\u0007\u0007'\"\"08123LPtAO-\\|»\u0007|''\"\"»\"\"\"\u0007_"},
    // 9: 1250, 1251, 1253, 1254
    {u"Đ‼↔∟⌂═╗╚╝╦╩▀▄█░▒▓▬►◄◘◙☼♠♣♥♦♪♫", u"D!-L¦=¬L-T¦-------><•00¦¦¦¦dd"},
    // 10: 437, 862
    {u"¯¾ÐÞðþĐƉƑƩɸˉˊ\u0301\u0304\u0308\u030E\u0327ΑΔΕΠΤ‗․₁₂₃₤\u20DD\u2126∅∑✓〇〛",
     u"__D_d_DDƒΣφ─''─\"\",αδεπτ_·123£\u0009ΩφΣ√\u0009]"},
    // 11: 20127, 28591, 28592, 28593, 28594, 28595, 28596, 28597, 28598, 28599, 28605
    {u"¡¢¥¦©ª«®²³·¹º»ÀÁÂÃÄÅÆÇÈÉÊËÌÍÎÏÐÑÒÓÔÕÖØÙÚÛÜÝàáâãäåæçèéêëìíîïñòóôõöøùúûüýÿĀāĂăĄąĆćĈĉĊċČčĎďĒēĔĕĖėĘ"
     u"ęĚěĜĝĞğĠġĢģĤĥĦħĨĩĪīĬĭĮįİıĴĵĶķĹĺĻļĽľŁłŃńŅņŇňŌōŎŏŐőŒœŔŕŖŗŘřŚśŜŝŞşŠšŢţŤťŦŧŪūŬŭŮůŰűŲųŴŵŶŷŸŹźŻżŽžƀƉƑ"
     u"ƒƗƚƟƠơƫƮƯưƶǍǎǏǐǑǒǓǔǕǖǗǘǙǚǛǜǞǟǤǥǦǧǨǩǪǫǬǭǰɡʹʺʼ˄ˆˈˋˍ˜\u0300\u0302\u0303\u030E\u0331\u0332\u2000"
     u"\u2001\u2002\u2003\u2004\u2005\u2006‐‑–—‘’‚“”„•…′‵‹›™！＂＃＄％＆＇（）＊＋，－．／０１２３４５"
     u"６７８９：；＜＝＞＠ＡＢＣＤＥＦＧＨＩＪＫＬＭＮＯＰＱＲＳＴＵＶＷＸＹＺ［＼］＾＿｀ａｂｃｄｅ"
     u"ｆｇｈｉｊｋｌｍｎｏｐｑｒｓｔｕｖｗｘｙｚ｛｜｝～",
     u"!cY|Ca<R23.1o>AAAAAAACEEEEIIIIDNOOOOOOUUUUYaaaaaaaceeeeiiiinoooooouuuuyyAaAaAaCcCcCcCcDdEeEeEeE"
     u"eEeGgGgGgGgHhHhIiIiIiIiIiJjKkLlLlLlLlNnNnNnOoOoOoOoRrRrRrSsSsSsSsTtTtTtUuUuUuUuUuWwYyYZzZzZzbDF"
     u"fIlOOotTUuzAaIiOoUuUuUuUuUuAaGgGgKkOoOojg'\"'^^'`_~`^~\"__       ----'',\"\"\"..'`<>T!\"#$%&'()"
     u"*+,-./0123456789:;<=>@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~"},
    // 12: 20127, 20866, 21866, 28591, 28592, 28593, 28595, 28596, 28597, 28598, 28599
    {u"«\u00AD®»èýĐđŠšŨũ–—™", u"<-R>eyDdSsUu--T"},
};

struct PageLookAlikes {
    UINT number;
    unsigned shared; // a bit for each row of kShared
    LookAlikes own;
};

constexpr PageLookAlikes kPages[] = {
    {437, 0x0423, {u"\u212B", u"Å"}},
    {737,
     0x0004,
     {u"\u037E‼←↑→↓↔↕↨∟⌂▬▲►▼◄○◘◙☺☻☼♀♂♠♣♥♦♪♫",
      u";\u0013\u001B\u0018\u001A\u0019\u001D\u0012\u0017\u001C\u007F\u0016\u001E\u0010\u001F\u0011\u0009"
      u"\u0008\u000A\u0001\u0002\u000F\u000C\u000B\u0006\u0005\u0003\u0004\u000D\u000E"}},
    {775, 0x0106, {u"ˉμ∓〛", u"─u-]"}},
    {850,
     0x0003,
     {u"ĐƉƑƩƶǀɸʹʺˉˊˋ\u0300\u0301\u0304\u0305\u0308\u030E\u0327ΓΘΣΦΩαδεμπστφ‐‑‘‚„†‡․…′‵⁰⁸ⁿ₁₂₃₤₧\u20DD℘™"
      u"\u2126\u212B∅∑−∓∖√∞∣∩≈≡≤≥≫⋅⌐⌠⌡╒╓╕╖╘╙╛╜╞╟╡╢╤╥╧╨╪╫▌▐✓❘〇》〛・",
      u"DDƒSZ│ø´\"─´''´¯¯¨\"¸GØSFOadeµpstf--''\"┼╬\u0007.´´09n¹²³£POPTOÅØS-±/V8│n~===»·¬()╔╔╗╗╚╚╝╝╠╠╣╣╦╦╩╩╬"
      u"╬██V│O»]·"}},
    {852, 0x0113, {u"Ɖˉˊ\u0301\u0306\u0307\u0308\u030C\u0327μ∓〛", u"Đ─´´˘˙¨ˇ¸u-]"}},
    {855,
     0x0010,
     {u"¬®µèĐŠš–—‚†‡…™∙√╒╓╕╖╘╙╛╜╞╟╡╢╤╥╧╨╪╫▌▐♠♣♥♦♪♫",
      u"-RueDSs--'++:T\u0007v╔╔╗╗╚╚╝╝╠╠╣╣╦╦╩╩╬╬██\u007F\u007F\u007F\u007Fdd"}},
    {857, 0x0103, {u"ĐƉˇˉˊ˘˙˛˝\u0301\u0306\u0307\u0308\u030C\u0327μ∓〛", u"DD^\u0016´^·¸¨´^·¨^¸µ±}"}},
    {860,
     0x0092,
     {u"\u00AD¹ĐŠšƉƑƩǀɸʹʺˊ\u0301\u0308\u030E\u0327‐‑–—‚…‵₃\u212B≫》", u"_1D\\|DFΣ|f'\"//\"\",____,.`3A»»"}},
    {861,
     0x0092,
     {u"\u00AD¹ĐŠšƉƑƩǀɸʹʺˊ\u0301\u0308\u030E\u0327‐‑–—‚…‵₃\u212B≫》",
      u"_1ÐSsÐƒ∩│f'\"//\"\",----'\u0007'3Å»»"}},
    {862, 0x0423, {}},
    {863,
     0x0092,
     {u"\u00AD¹ĐŠšƉƑƩǀɸʹʺˊ\u0301\u0308\u030E\u0327‐‑–—‚…‵₃\u212B≫》",
      u"\u00163DSsDƒΣ│φ\"'´´¨¨¸----'\u0007'³A»»"}},
    {864,
     0x0000,
     {u"§¶ΒΦ\u066A‼←↑→↓↔↕↨∟⌂═║╔╗╚╝╠╣╦╩╬▬▲►▼◄☺☼♪♫",
      u"\u0015\u0014βφ%\u0013\u001B\u0018\u001A\u0019\u001D\u0012\u0017\u001C\u007F\u0005\u0006\u000D"
      u"\u000C\u000E\u000F\u000A\u0008\u0009\u000B\u0007\u0016\u001E\u0010\u001F\u0011\u0001\u0004"
      u"\u0002\u0003"}},
    {865,
     0x0092,
     {u"\u00AD¹ĐŠšƉƑƩǀɸʹʺˊ\u0301\u0308\u030E\u0327‐‑–—‚…‵₃\u212B≫》",
      u"_1DSsDƒΣ│φ'\"//\"\",----'\u0007'3Å<>"}},
    {866, 0x0011, {u"¦®µèĐ‚†‡…™♠♣♥♦♪♫", u"│RчeD'┼╪:T\u0006\u0005\u0003\u0004\u000D\u000E"}},
    {869,
     0x0010,
     {u"¤¥®´µèýĐŠšƑƒ\u030D\u037E–—‚†‡…™♠♣♥♦♪♫",
      u"oYR΄μeyDSsFf΄;\u0016\u0016’++:T\u0006\u0005\u0003\u0004\u000D\u000E"}},
    {874,
     0x0004,
     {u"‼←↑→↓↔↕↨∟⌂─│┌┐└┘═║╔╗╚╝▄▬▲►▼◄○◘◙☺☻☼♀♂♠♣♥♦♪♫",
      u"\u0013\u001B\u0018\u001A\u0019\u001D\u0012\u0017\u001C\u007F\u0E24\u0E13\u0E3A\u0E1F\u0E20\u0E39"
      u"\u0E2D\u0E1A\u0E29\u0E1B\u0E28\u0E1C\uF8C2\u0016\u001E\u0010\u001F\u0011\u0009\u0008\u000A\u0001"
      u"\u0002\u000F\u000C\u000B\u0006\u0005\u0003\u0004\u000D\u000E"}},
    {932, 0x0040, {u"¡¢£¥©ª«¬¯²³¸¹º»ÆÐÞßæðþゔ", u"!￠￡\\ca≪￢￣23，1o≫ADTsadtヴ"}},
    {936,
     0x0008,
     {u"¯´ÀÁÈÉÊÌÍÒÓÙÚÜĀĒĚĪŌŪǁǍǏǑǓǕǗǙǛ‾∘∼㈶㈸㈻㈼㈾㈿㊖㊘㊜㊝㊠㊢㊩㊫㊬㊮㊯\uFA16",
      u"ˉ′àáèéêìíòóùúüāēěīōū∥ǎǐǒǔǖǘǚǜ￣°～财劳学监资协财劳适优项写医学监资协豬"}},
    {949,
     0x0048,
     {u"©«¬»Đᄀᄁᄂᄃᄄᄅᄆᄇᄈᄉᄊᄋᄌᄍᄎᄏᄐᄑᄒᄔᄕᄚᄜᄝᄞᄠᄡᄢᄣᄧᄩᄫᄬᄭᄮᄯᄲᄶᄼᄽᄾᄿᅀᅅᅆᅇᅌ"
      u"ᅎᅏᅐᅑᅔᅕᅗᅘᅙ\u115F\u1161\u1162\u1163\u1164\u1165\u1166\u1167\u1168\u1169\u116A\u116B\u116C"
      u"\u116D\u116E\u116F\u1170\u1171\u1172\u1173\u1174\u1175\u1184\u1185\u1188\u1191\u1192\u1194\u119E"
      u"\u11A1\u11A8\u11A9\u11AA\u11AB\u11AC\u11AD\u11AE\u11AF\u11B0\u11B1\u11B2\u11B3\u11B4\u11B5\u11B6"
      u"\u11B7\u11B8\u11B9\u11BA\u11BB\u11BC\u11BD\u11BE\u11BF\u11C0\u11C1\u11C2\u11C6\u11C7\u11C8\u11CC"
      u"\u11CE\u11D3\u11D7\u11D9\u11DC\u11DD\u11DF\u11E6\u11E7\u11E8\u11EA\u11EB\u11EE\u11F0\u11F1\u11F2"
      u"\u11F4\u11F9₩ⒶⒷⒸⒹⒺⒻⒼⒽⒾⒿⓀⓁⓂⓃⓄⓅⓆⓇⓈⓉⓊⓋⓌⓍⓎⓏ㈶㈸㈻㈼㈾㈿㊖㊘㊜㊝㊞㊠㊢㊤㊥㊦㊧㊨㊩㊫㊬㊮㊯\uFFA0\uFFA1"
      u"\uFFA2\uFFA3\uFFA4\uFFA5\uFFA6\uFFA7\uFFA8\uFFA9\uFFAA\uFFAB\uFFAC\uFFAD\uFFAE\uFFAF\uFFB0\uFFB1"
      u"\uFFB2\uFFB3\uFFB4\uFFB5\uFFB6\uFFB7\uFFB8\uFFB9\uFFBA\uFFBB\uFFBC\uFFBD\uFFBE\uFFC2\uFFC3\uFFC4"
      u"\uFFC5\uFFC6\uFFC7\uFFCA\uFFCB\uFFCC\uFFCD\uFFCE\uFFCF\uFFD2\uFFD3\uFFD4\uFFD5\uFFD6\uFFD7\uFFDA"
      u"\uFFDB\uFFDC",
      u"ⓒ≪￢≫đㄱㄲㄴㄷㄸㄹㅁㅂㅃㅅㅆㅇㅈㅉㅊㅋㅌㅍㅎㅥㅦㅭㅮㅱㅲㅳㅄㅴㅵㅶㅷㅸㅹㅺㅻㅼㅽㅾㅅㅆㅅㅆㅿㆂㆃㆀ"
      u"ㅇㅈㅉㅈㅉㅊㅊㆄㆅㆆ\u3164ㅏㅐㅑㅒㅓㅔㅕㅖㅗㅘㅙㅚㅛㅜㅝㅞㅟㅠㅡㅢㅣㆇㆈㆉㆊㆋㆌㆍㆎㄱㄲㄳㄴㄵㄶㄷ"
      u"ㄹㄺㄻㄼㄽㄾㄿㅀㅁㅂㅄㅅㅆㅇㅈㅊㅋㅌㅍㅎㅦㅧㅨㅩㅪㅫㅬㅭㅮㅯㅰㅸㅺㅼㅽㅿㆀㅇㆂㆃㆄㆆ\\ⓐⓑⓒⓓⓔⓕⓖⓗⓘⓙⓚⓛⓜ"
      u"ⓝⓞⓟⓠⓡⓢⓣⓤⓥⓦⓧⓨⓩ財勞學監資協財勞適優印項寫上中下左右醫學監資協\u3164ㄱㄲㄳㄴㄵㄶㄷㄸㄹㄺㄻㄼㄽㄾㄿㅀㅁ"
      u"ㅂㅃㅄㅅㅆㅇㅈㅉㅊㅋㅌㅍㅎㅏㅐㅑㅒㅓㅔㅕㅖㅗㅘㅙㅚㅛㅜㅝㅞㅟㅠㅡㅢㅣ"}},
    {950,
     0x0048,
     {u"¡©´¸Æßæ\u0305‖•․‾∖∘≣⌇☉♁〜〰㈶㈸㈻㈼㈾㈿㊖㊘㊜㊝㊞㊠㊢㊤㊥㊦㊧㊨㊩㊫㊬㊮㊯\uFA16､",
      u"!c’﹐Asa¯∥‧˙￣﹨°≡︴⊙⊕～﹋財勞學監資協財勞適優印項寫上中下左右醫學監資協豬﹑"}},
    {1250,
     0x0261,
     {u"¯¾ÆæƉƑʻˉˊ\u0301\u0303\u0304\u0305\u0306\u0307\u0308\u030A\u030C\u030E\u0327\u037E․″₀₁₂₃₤\u212B←→↓↕↨"
      u"∅∙─│╔▼☺☻❛❜❝❞〛〝〞〟ー",
      u"—3AaĐF‘Ż´´~ŻŻ˘˙¨°ˇ\"¸;•”0123ŁĹ‹›ˇ||Ř•¦--ˇ˘˘‘’“”]“”„—"}},
    {1251, 0x0241, {u"←→↓↕↨∙√─│╒╓╔╕╖╘╙╛╜╞╟╡╢╤╥╧╨╪╫▌▐▼☺☻", u"<>v¦¦•v-¦-гг¬¬LL--¦¦¦¦TT¦¦++¦¦ЎOO"}},
    {1252,
     0x0021,
     {u"ĐƉƑˉˊ\u0301\u0303\u0304\u0305\u0308\u030A\u030E\u0327\u037EΓΘΣΦΩαδεπστφ‗․ⁿ₀₁₂₃₡₤₧\u212B∅∙√∞∩≈≡≤≥⌂⌐⌠"
      u"⌡─│┌┐└┘┤┬┴═╒╓╔╕╖╗╘╙╚╛╜╝╞╟╡╢╤╥╦╧╨╩╪╫▀▄█▌▐░▒▓☼〛",
      u"ÐÐƒ¯´´~¯¯¨°\"¸;GTSFOadepstf=·n0123¢£PÅØ·v8n˜===¦¬()-¦++++¦---++++++++++++¦¦¦¦------++¯_¦¦¦¦¦¦¤]"}},
    {1253, 0x0241, {u"´Ƒ\u030D\u037E←→↓↕↨─│╔▼☺☻", u"/ƒ΄;<>v¦¦-¦-΅OO"}},
    {1254,
     0x0261,
     {u"ƉƑʻˇˉˊ˘˙˛˝\u0301\u0303\u0304\u0305\u0306\u0307\u0308\u030A\u030C\u030E\u0327․″₀₁₂₃₤\u212B←→↓↕↨∅∙─│╔"
      u"▼☺☻❛❜❝❞〛〝〞〟ー",
      u"Dƒ‘^¯´^'¸¨´˜¯¯ˆ·¨§ˆ¨¸•¨°0²³£Å‹›v||Ø•¦--¡OO‘’“”=\"\"„—"}},
    {1255, 0x0004, {u"¤Ƒ", u"₪F"}},
    {1256,
     0x0004,
     {u"ÀÂÇÈÉÊËÎÏÔÙÛÜƑ\u0660\u0661\u0662\u0663\u0664\u0665\u0666\u0667\u0668\u0669\u06CC\uFB56\uFB57\uFB58"
      u"\uFB59\uFB66\uFB67\uFB68\uFB69\uFB7A\uFB7B\uFB7C\uFB7D\uFB88\uFB89\uFB8A\uFB8B\uFB8C\uFB8D\uFB8E"
      u"\uFB8F\uFB90\uFB91\uFB92\uFB93\uFB94\uFB95\uFB9E\uFB9F\uFBA6\uFBA7\uFBA8\uFBA9\uFBAA\uFBAB\uFBAC"
      u"\uFBAD\uFBAE\uFBAF\uFE70\uFE71\uFE72\uFE74\uFE76\uFE77\uFE78\uFE79\uFE7A\uFE7B\uFE7C\uFE7D\uFE7E"
      u"\uFE7F\uFE80\uFE81\uFE82\uFE83\uFE84\uFE85\uFE86\uFE87\uFE88\uFE89\uFE8A\uFE8B\uFE8C\uFE8D\uFE8E"
      u"\uFE8F\uFE90\uFE91\uFE92\uFE93\uFE94\uFE95\uFE96\uFE97\uFE98\uFE99\uFE9A\uFE9B\uFE9C\uFE9D\uFE9E"
      u"\uFE9F\uFEA0\uFEA1\uFEA2\uFEA3\uFEA4\uFEA5\uFEA6\uFEA7\uFEA8\uFEA9\uFEAA\uFEAB\uFEAC\uFEAD\uFEAE"
      u"\uFEAF\uFEB0\uFEB1\uFEB2\uFEB3\uFEB4\uFEB5\uFEB6\uFEB7\uFEB8\uFEB9\uFEBA\uFEBB\uFEBC\uFEBD\uFEBE"
      u"\uFEBF\uFEC0\uFEC1\uFEC2\uFEC3\uFEC4\uFEC5\uFEC6\uFEC7\uFEC8\uFEC9\uFECA\uFECB\uFECC\uFECD\uFECE"
      u"\uFECF\uFED0\uFED1\uFED2\uFED3\uFED4\uFED5\uFED6\uFED7\uFED8\uFED9\uFEDA\uFEDB\uFEDC\uFEDD\uFEDE"
      u"\uFEDF\uFEE0\uFEE1\uFEE2\uFEE3\uFEE4\uFEE5\uFEE6\uFEE7\uFEE8\uFEE9\uFEEA\uFEEB\uFEEC\uFEED\uFEEE"
      u"\uFEEF\uFEF0\uFEF1\uFEF2\uFEF3\uFEF4",
      u"AACEEEEIIOUUUF0123456789\u064A\u067E\u067E\u067E\u067E\u0679\u0679\u0679\u0679\u0686\u0686\u0686"
      u"\u0686\u0688\u0688\u0698\u0698\u0691\u0691\u06A9\u06A9\u06A9\u06A9\u06AF\u06AF\u06AF\u06AF\u06BA"
      u"\u06BA\u06C1\u06C1\u06C1\u06C1\u06BE\u06BE\u06BE\u06BE\u06D2\u06D2\u064B\u064B\u064C\u064D\u064E"
      u"\u064E\u064F\u064F\u0650\u0650\u0651\u0651\u0652\u0652\u0621\u0622\u0622\u0623\u0623\u0624\u0624"
      u"\u0625\u0625\u0626\u0626\u0626\u0626\u0627\u0627\u0628\u0628\u0628\u0628\u0629\u0629\u062A\u062A"
      u"\u062A\u062A\u062B\u062B\u062B\u062B\u062C\u062C\u062C\u062C\u062D\u062D\u062D\u062D\u062E\u062E"
      u"\u062E\u062E\u062F\u062F\u0630\u0630\u0631\u0631\u0632\u0632\u0633\u0633\u0633\u0633\u0634\u0634"
      u"\u0634\u0634\u0635\u0635\u0635\u0635\u0636\u0636\u0636\u0636\u0637\u0637\u0637\u0637\u0638\u0638"
      u"\u0638\u0638\u0639\u0639\u0639\u0639\u063A\u063A\u063A\u063A\u0641\u0641\u0641\u0641\u0642\u0642"
      u"\u0642\u0642\u0643\u0643\u0643\u0643\u0644\u0644\u0644\u0644\u0645\u0645\u0645\u0645\u0646\u0646"
      u"\u0646\u0646\u0647\u0647\u0647\u0647\u0648\u0648\u0649\u0649\u064A\u064A\u064A\u064A"}},
    {1257, 0x0004, {}},
    {1258, 0x0004, {}},
    {1361,
     0x0000,
     {u"₩ㄱㄲㄳㄴㄵㄶㄷㄸㄹㄺㄻㄼㄽㄾㄿㅀㅁㅂㅃㅄㅅㅆㅇㅈㅉㅊㅋㅌㅍㅎㅏㅐㅑㅒㅓㅔㅕㅖㅗㅘㅙㅚㅛㅜㅝㅞ"
      u"ㅟㅠㅡㅢㅣ\u3164ㅥㅦㅧㅨㅩㅪㅫㅬㅭㅮㅯㅰㅱㅲㅳㅴㅵㅶㅷㅸㅹㅺㅻㅼㅽㅾㅿㆀㆁㆂㆃㆄㆅㆆㆇㆈㆉㆊㆋ"
      u"ㆌㆍㆎ\uFFA0\uFFA1\uFFA2\uFFA3\uFFA4\uFFA5\uFFA6\uFFA7\uFFA8\uFFA9\uFFAA\uFFAB\uFFAC\uFFAD"
      u"\uFFAE\uFFAF\uFFB0\uFFB1\uFFB2\uFFB3\uFFB4\uFFB5\uFFB6\uFFB7\uFFB8\uFFB9\uFFBA\uFFBB\uFFBC"
      u"\uFFBD\uFFBE\uFFC2\uFFC3\uFFC4\uFFC5\uFFC6\uFFC7\uFFCA\uFFCB\uFFCC\uFFCD\uFFCE\uFFCF\uFFD2"
      u"\uFFD3\uFFD4\uFFD5\uFFD6\uFFD7\uFFDA\uFFDB\uFFDC",
      u"\\\u1100\u1101\u11AA\u1102\u11AC\u11AD\u1103\u1104\u1105\u11B0\u11B1\u11B2\u11B3\u11B4\u11B5"
      u"\u11B6\u1106\u1107\u1108\u11B9\u1109\u110A\u110B\u110C\u110D\u110E\u110F\u1110\u1111\u1112"
      u"\u1161\u1162\u1163\u1164\u1165\u1166\u1167\u1168\u1169\u116A\u116B\u116C\u116D\u116E\u116F"
      u"\u1170\u1171\u1172\u1173\u1174\u1175\u115F\u1114\u1115\u11C7\u11C8\u11CC\u11CE\u11D3\u11D7"
      u"\u11D9\u111C\u11DD\u11DF\u111D\u111E\u1120\u1122\u1123\u1127\u1128\u112B\u112C\u112D\u112E"
      u"\u112F\u1132\u1136\u1140\u1147\u114C\u1145\u1146\u1157\u1158\u1159\u1184\u1185\u1188\u1191"
      u"\u1192\u1194\u119E\u11A1\u115F\u1100\u1101\u11AA\u1102\u11AC\u11AD\u1103\u1104\u1105\u11B0"
      u"\u11B1\u11B2\u11B3\u11B4\u11B5\u11B6\u1106\u1107\u1108\u11B9\u1109\u110A\u110B\u110C\u110D"
      u"\u110E\u110F\u1110\u1111\u1112\u1161\u1162\u1163\u1164\u1165\u1166\u1167\u1168\u1169\u116A"
      u"\u116B\u116C\u116D\u116E\u116F\u1170\u1171\u1172\u1173\u1174\u1175"}},
    {20127, 0x1800, {u"\u00A0¤¸", u" $,"}},
    {20866, 0x1010, {u"¦§¬µ‚†‡…♠♣♥♦♪♫", u"│\u0015┐ч'┼╪:\u0006\u0005\u0003\u0004\u000D\u000E"}},
    {20949,
     0x0048,
     {u"©«¬»Đ₩ⒶⒷⒸⒹⒺⒻⒼⒽⒾⒿⓀⓁⓂⓃⓄⓅⓆⓇⓈⓉⓊⓋⓌⓍⓎⓏ㈶㈸㈻㈼㈾㈿㊖㊘㊜㊝㊞㊠㊢㊤㊥㊦㊧㊨㊩㊫㊬㊮㊯\uFFA0\uFFA1"
      u"\uFFA2\uFFA3\uFFA4\uFFA5\uFFA6\uFFA7\uFFA8\uFFA9\uFFAA\uFFAB\uFFAC\uFFAD\uFFAE\uFFAF\uFFB0"
      u"\uFFB1\uFFB2\uFFB3\uFFB4\uFFB5\uFFB6\uFFB7\uFFB8\uFFB9\uFFBA\uFFBB\uFFBC\uFFBD\uFFBE\uFFC2"
      u"\uFFC3\uFFC4\uFFC5\uFFC6\uFFC7\uFFCA\uFFCB\uFFCC\uFFCD\uFFCE\uFFCF\uFFD2\uFFD3\uFFD4\uFFD5"
      u"\uFFD6\uFFD7\uFFDA\uFFDB\uFFDC",
      u"ⓒ≪￢≫đ\\ⓐⓑⓒⓓⓔⓕⓖⓗⓘⓙⓚⓛⓜⓝⓞⓟⓠⓡⓢⓣⓤⓥⓦⓧⓨⓩ財勞學監資協財勞適優印項寫上中下左右醫學監資協\u3164ㄱㄲㄳㄴ"
      u"ㄵㄶㄷㄸㄹㄺㄻㄼㄽㄾㄿㅀㅁㅂㅃㅄㅅㅆㅇㅈㅉㅊㅋㅌㅍㅎㅏㅐㅑㅒㅓㅔㅕㅖㅗㅘㅙㅚㅛㅜㅝㅞㅟㅠㅡㅢㅣ"}},
    {21866, 0x1010, {u"¦§¬µ‚†‡…♠♣♥♦♪♫", u"│\u0015┐ч'┼╪:\u0006\u0005\u0003\u0004\u000D\u000E"}},
    {28591, 0x1800, {}},
    {28592, 0x1800, {}},
    {28593, 0x1800, {}},
    {28594, 0x0800, {}},
    {28595, 0x1800, {u"¤¸", u"$,"}},
    {28596, 0x1800, {u"¸", u","}},
    {28597, 0x1800, {u"¤¸", u"$,"}},
    {28598, 0x1800, {}},
    {28599, 0x1800, {}},
    {28603,
     0x0000,
     {u"ªºÀÁÂÃÇÈÊËÌÍÎÏÑÒÔÙÚÛÝàáâãçèêëìíîïñòôùúûýÿĂăĈĉĊċĎďĔĕĚěĜĝĞğĠġĤĥĨĩĬĭİĴĵĹĺĽľŇňŎŏŐőŔŕŘřŜŝŞşŢţŤťŨũŬŭ"
      u"ŮůŰűŴŵŶŷŸſƠơƯưǍǎǏǐǑǒǓǔǕǖǗǘǙǚǛǜǞǟǠǡǢǣǦǧǨǩǪǫǬǭǰǴǵǸǹǺǻǼǽǾǿȀȁȂȃȄȅȆȇȈȉȊȋȌȍȎȏȐȑȒȓȔȕȖȗȘșȚțȞȟȦȧȨȩȪȫȬȭȮ"
      u"ȯȰȱȲȳʰʲʳʷʸˡˢˣ\u037E\u0387ḀḁḂḃḄḅḆḇḈḉḊḋḌḍḎḏḐḑḒḓḔḕḖḗḘḙḚḛḜḝḞḟḠḡḢḣḤḥḦḧḨḩḪḫḬḭḮḯḰḱḲḳḴḵḶḷḸḹḺḻḼḽḾḿṀṁṂṃṄ"
      u"ṅṆṇṈṉṊṋṌṍṎṏṐṑṒṓṔṕṖṗṘṙṚṛṜṝṞṟṠṡṢṣṤṥṦṧṨṩṪṫṬṭṮṯṰṱṲṳṴṵṶṷṸṹṺṻṼṽṾṿẀẁẂẃẄẅẆẇẈẉẊẋẌẍẎẏẐẑẒẓẔẕẖẗẘẙẛẠạẢảẤấẦầ"
      u"ẨẩẪẫẬậẮắẰằẲẳẴẵẶặẸẹẺẻẼẽẾếỀềỂểỄễỆệỈỉỊịỌọỎỏỐốỒồỔổỖỗỘộỚớỜờỞởỠỡỢợỤụỦủỨứỪừỬửỮữỰựỲỳỴỵỶỷỸỹ\u1FEF\u2000"
      u"\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200A․\u202F\u205F⁰ⁱ⁴⁵⁶⁷⁸⁹⁺⁼⁽⁾ⁿ₀₁₂₃₄₅₆₇"
      u"₈₉₊₌₍₎ℂℊℋℌℍℎℐℑℒℓℕℙℚℛℜℝℤℨ\u212A\u212BℬℭℯℰℱℳℴℹⅅⅆⅇⅈⅉⅠⅤⅩⅬⅭⅮⅯⅰⅴⅹⅼⅽⅾⅿ≠≮≯①②③④⑤⑥⑦⑧⑨ⒶⒷⒸⒹⒺⒻⒼⒽⒾⒿⓀⓁⓂⓃⓄⓅⓆⓇⓈ"
      u"ⓉⓊⓋⓌⓍⓎⓏⓐⓑⓒⓓⓔⓕⓖⓗⓘⓙⓚⓛⓜⓝⓞⓟⓠⓡⓢⓣⓤⓥⓦⓧⓨⓩ⓪\u3000﬩︳︴︵︶︷︸﹍﹎﹏﹐﹒﹔﹕﹗﹙﹚﹛﹜﹟﹠﹡﹢﹣﹤﹥﹦"
      u"﹨﹩﹪﹫！＂＃＄％＆＇（）＊＋，－．／０１２３４５６７８９：；＜＝＞＠ＡＢＣＤＥＦＧＨＩＪＫＬ"
      u"ＭＮＯＰＱＲＳＴＵＶＷＸＹＺ［＼］＾＿｀ａｂｃｄｅｆｇｈｉｊｋｌｍｎｏｐｑｒｓｔｕｖｗｘｙｚ｛"
      u"｜｝～￠￡￢￤",
      u"aoAAAACEEEIIIINOOUUUYaaaaceeeiiiinoouuuyyAaCcCcDdEeEeGgGgGgHhIiIiIJjLlLlNnOoOoRrRrSsSsTtTtUuUu"
      u"UuUuWwYyYsOoUuAaIiOoUuÜüÜüÜüÜüÄäAaÆæGgKkOoOojGgNnÅåÆæØøAaAaEeEeIiIiOoOoRrRrUuUuSsTtHhAaEeÖöÕõO"
      u"oOoYyhjrwylsx;·AaBbBbBbCcDdDdDdDdDdĒēĒēEeEeEeFfGgHhHhHhHhHhIiIiKkKkKkLlLlLlLlMmMmMmNnNnNnNnÕõÕ"
      u"õŌōŌōPpPpRrRrRrRrSsSsŚśŠšSsTtTtTtTtUuUuUuUuŪūVvVvWwWwWwWwWwXxXxYyZzZzZzhtwysAaAaAaAaAaAaAaAaAa"
      u"AaAaAaEeEeEeEeEeEeEeEeIiIiOoOoOoOoOoOoOoOoOoOoOoOoUuUuUuUuUuUuUuYyYyYyYy`           .  0i45678"
      u"9+=()n0123456789+=()CgHHHhIILlNPQRRRZZKÅBCeEFMoiDdeijIVXLCDMivxlcdm=<>123456789ABCDEFGHIJKLMNO"
      u"PQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0 +__(){}___,.;:!(){}#&*+-<>=\\$%@!\"#$%&'()*+,-./0123456"
      u"789:;<=>@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~¢£¬¦"}},
    {28605, 0x0800, {u"ĐĸŊŋŨũ", u"ÐkNnTt"}},
};

constexpr bool isWhole(const LookAlikes& row) { return row.units.size() == row.characters.size(); }
static_assert(std::all_of(std::begin(kShared), std::end(kShared), isWhole));
static_assert(std::all_of(std::begin(kPages), std::end(kPages),
                          [](const PageLookAlikes& page) { return isWhole(page.own); }));

} // namespace

const LookAlikes* LookAlikesOf(UINT codePage, unsigned index) {
    const auto page = std::find_if(std::begin(kPages), std::end(kPages),
                                   [=](const PageLookAlikes& row) { return row.number == codePage; });
    if (page == std::end(kPages) || index > std::size(kShared))
        return nullptr;
    static constexpr LookAlikes kNone = {};
    if (index == std::size(kShared))
        return &page->own;
    return (page->shared >> index & 1) != 0 ? &kShared[index] : &kNone;
}

} // namespace Tarn::Platform::Posix
