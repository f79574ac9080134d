// The page's files, embedded in the program if they had been built before it (CMake: ORVANDEL_STUDIO).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvandel::cli {

bool HasPage();

// By its path in the page's folder; "" is "index.html". None: there is no such file.
std::optional<std::string_view> PageFile(std::string_view path);

// The Content-Type, by the file's extension; empty: a kind that is not served.
std::string_view ContentTypeOf(std::string_view name);

// index.html with the element by which the page learns that a program serves it, and which scene.
std::string ServedIndex(std::string_view index, const std::string& sceneName);

}  // namespace orvandel::cli
