/// \file
/// A locale's formats of dates and times, and the pictures that Windows has for them: "%d.%m.%Y" is
/// "dd.MM.yyyy".
#pragma once

#include "platform/posix/memory/allocator.h"

#include <string_view>

namespace Tarn::Platform::Posix {

/// How a locale writes dates and times, as `strftime` takes it.
struct DateFormats {
    U16String date;
    U16String time;
    U16String halfDayTime; // empty where the day is not halved
    U16String both;
};

// Text between the parts of a date is quoted where it has letters. What pictures cannot say is left out with
// the blank in front of it: the zone, the number of the week.
U16String ShortDatePicture(const DateFormats& formats);
U16String TimePicture(const DateFormats& formats);
/// No locale has a format for long dates: it is the date out of `both`, with names in full. Words in which
/// there is a part of the time are not of it.
U16String LongDatePicture(const DateFormats& formats);

/// Takes the next element off a picture: a run of one letter, a text in quotes, or another unit.
std::u16string_view TakeElement(std::u16string_view& picture);

/// What a text in quotes means.
U16String Unquoted(std::u16string_view quoted);

} // namespace Tarn::Platform::Posix
