/// \file
/// The user's time zone: the one that TZ names or, if TZ is not set, the system's. A new TZ is noticed at
/// once, a change of the system's zone within a second.
#pragma once

#include <tarnkit/types.h>

#include <chrono>

namespace Tarn::Platform::Posix {

/// How far local time is ahead of universal time now.
std::chrono::seconds LocalOffset() noexcept;

/// Describes the zone in this year; returns which half of the description is in force.
DWORD DescribeZone(TIME_ZONE_INFORMATION& information) noexcept;

} // namespace Tarn::Platform::Posix
