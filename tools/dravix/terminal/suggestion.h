/// What a mistyped word was probably meant to be.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dravix::tool {

/// The one of `names` that is closest to `word`; empty when none is close enough to be meant.
///
/// Closeness is the number of letters to insert, remove, replace or swap with their neighbor. One
/// slip per three letters is allowed, so that a short word is not taken for an unrelated one. A
/// word that is the beginning of a name, of three letters or more, is close as well.
[[nodiscard]] std::optional<std::string> NearestName(std::string_view word,
                                                     const std::vector<std::string>& names);

}  // namespace dravix::tool
