/// \file
/// A locale's formats for dates and times, and the corresponding pictures of Windows: "%d.%m.%Y" is
/// "dd.MM.yyyy".
#pragma once

#include "platform/posix/memory/allocator.h"

#include <string_view>

namespace Tarn::Platform::Posix {

/// A locale's formats for dates and times, as `strftime` accepts them.
struct DateFormats {
    U16String date;
    U16String time;
    U16String halfDayTime; // empty if the locale has no 12-hour clock
    U16String both;
};

// Text between the parts of a date is quoted if it contains letters. What pictures cannot express, such as
// the time zone or the week number, is left out with the blank before it.
U16String ShortDatePicture(const DateFormats& formats);
U16String TimePicture(const DateFormats& formats);
/// Locales have no format for long dates. The picture is the date part of `both`, with full names; words that
/// contain a part of the time are left out.
U16String LongDatePicture(const DateFormats& formats);

/// Removes the next element from a picture and returns it: a run of one letter, a quoted text, or another
/// unit.
std::u16string_view TakeElement(std::u16string_view& picture);

/// The text without its quotes.
U16String Unquoted(std::u16string_view quoted);

} // namespace Tarn::Platform::Posix
