#pragma once

inline constexpr char kHexDigits[] = "0123456789ABCDEF";
