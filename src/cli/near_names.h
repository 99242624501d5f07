#pragma once
// What a mistyped name was probably meant to be.

#include <string>
#include <string_view>
#include <vector>

namespace kymora {

// Up to three of the known names that are near the given one, the nearest first; case does not count.
std::vector<std::string> NearNames(std::string_view name, const std::vector<std::string>& known);

// " Did you mean a, b or c?" of such names; empty for none.
std::string DidYouMean(const std::vector<std::string>& names);

}  // namespace kymora
