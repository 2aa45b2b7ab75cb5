/// \file
/// The texts of the user's locale for dates and times, read once and kept. The locale of the process belongs
/// to the application and is neither read nor changed.
#pragma once

#include "platform/platform.h"
#include "platform/posix/memory/allocator.h"

#include <langinfo.h>
#include <locale.h>

#include <memory>
#include <type_traits>

namespace Tarn::Platform::Posix {

class TimeLocale {
public:
    /// The locale that the environment names now; the C locale if that one is not installed. Looks for a
    /// locale only once, so that one installed later is found by programs that start then.
    static const TimeLocale& OfUser();

    static constexpr int kDays = 7;
    static constexpr int kMonths = 12;

    // In the order of `nl_langinfo`: days begin with Sunday.
    U16String days[kDays];
    U16String shortDays[kDays];
    U16String months[kMonths]; // within a date
    U16String monthsAlone[kMonths];
    U16String shortMonths[kMonths];
    U16String am;
    U16String pm;
    // Pictures.
    U16String shortDate;
    U16String longDate;
    U16String time;
    bool hasEras;

    /// A date as `strftime` formats it with one conversion.
    U16String Formatted(const char* conversion, const SYSTEMTIME& date) const;

private:
    struct Free {
        void operator()(locale_t freed) const { freelocale(freed); }
    };

    TimeLocale(const char* localeName, const char* localePath);

    bool isNamed(const char* localeName, const char* localePath) const;
    void read(nl_item first, int count, U16String* texts);
    U16String text(nl_item item) const { return decoded(nl_langinfo_l(item, locale.get())); }
    U16String decoded(const char* text) const;

    // What it is known by; an empty path if LOCPATH is not set.
    String name;
    String path;
    std::unique_ptr<std::remove_pointer_t<locale_t>, Free> locale;
    UINT codePage;
};

} // namespace Tarn::Platform::Posix
