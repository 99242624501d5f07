#pragma once
// Text without the difference of small letters and capitals, for comparing what users write.

#include <string>
#include <string_view>

namespace kymora {

// Every letter of a UTF-8 text by the simple case folding of Unicode 14, which keeps one character for one.
// What is no UTF-8 stays as it is. Puts the result in the place of what `folded` held.
void FoldUnicodeCase(std::string_view text, std::string& folded);

}  // namespace kymora
