// A guess at the name that was meant.
#pragma once

#include <span>
#include <string_view>

namespace qel::cli {

// The name nearest to `wrong`, empty when none is near.
std::string_view nearest_name(std::string_view wrong, std::span<const std::string_view> names);

}  // namespace qel::cli
