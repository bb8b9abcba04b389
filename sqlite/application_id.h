#pragma once

#include <cstdint>

namespace korvane::sqlite {

/// The number by which a file says in its header that it is a project: the letters KRVN. The store
/// neither writes nor reads it, so that a file without it is as good.
inline constexpr std::uint32_t kApplicationId = 0x4B52564E;

}  // namespace korvane::sqlite
