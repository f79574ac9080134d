// Words of shell scripts.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvandel::cli {

// As one word of a POSIX shell, whatever it holds: plain where it needs no quotes, so that scripts stay readable.
std::string ShellWord(std::string_view text);
std::string ShellLine(const std::vector<std::string>& words);

// InputError when a name holds control characters: line breaks in names would break the lists and logs of a farm, even
// though a quoted word could carry them. `what`: the option that gave it.
void RefuseControlCharacters(std::string_view name, std::string_view what);

}  // namespace orvandel::cli
