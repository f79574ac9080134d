#include "stage/scene/json_tree.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "stage/base/errors.h"
#include "stage/base/names.h"

namespace orvandel::stage {
namespace {

using nlohmann::json;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// The parser's own sentence without its preamble ("[json.exception...] parse error at line 1, column 8: syntax error
// while parsing value - ") and without the raw text it read last.
std::string PlainSentence(std::string_view what) {
  if (const auto dash = what.find(" - "); dash != std::string_view::npos) {
    what.remove_prefix(dash + 3);
  } else if (const auto bracket = what.find("] "); bracket != std::string_view::npos) {
    what.remove_prefix(bracket + 2);
  }
  std::string sentence(what);
  if (const auto read = sentence.find("; last read: '"); read != std::string::npos) {
    const auto expected = sentence.rfind("'; expected ");
    const bool more = expected != std::string::npos && expected > read;
    sentence.erase(read, more ? expected + 1 - read : std::string::npos);
  }
  // After a value a comma would do as well, and it is the comma that people forget.
  for (const std::string_view end : {"'}'", "']'"}) {
    if (sentence.ends_with("expected " + std::string(end))) sentence.insert(sentence.size() - end.size(), "',' or ");
  }
  return sentence;
}

// Where the token that ends at `last` begins.
std::size_t TokenStart(std::string_view text, std::size_t last) {
  if (last >= text.size()) return last;
  const auto inWord = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '-' || c == '+';
  };
  std::size_t start = last;
  if (text[last] == '"') {  // inside a string every other quote has an odd number of backslashes before it
    std::size_t backslashes = 0;
    do {
      if (start == 0) return last;
      start = text.rfind('"', start - 1);
      if (start == std::string_view::npos) return last;
      backslashes = 0;
      while (backslashes < start && text[start - 1 - backslashes] == '\\') ++backslashes;
    } while (backslashes % 2 == 1);
  } else if (inWord(text[last])) {
    while (start > 0 && inWord(text[start - 1])) --start;
  }
  return start;
}

// Receives the parser's events and grows the tree. The parser keeps no stack of its own frames, so the depth is bounded
// here before any function that walks the tree by recursion sees it.
class TreeBuilder {
 public:
  using number_integer_t = json::number_integer_t;
  using number_unsigned_t = json::number_unsigned_t;
  using number_float_t = json::number_float_t;
  using string_t = json::string_t;
  using binary_t = json::binary_t;

  TreeBuilder(std::string_view text, const std::string& fileName) : text_(text), fileName_(fileName) {}

  JsonNode TakeRoot() { return std::move(root_); }

  bool null() {
    Add(JsonNode::Kind::kNull);
    return true;
  }
  bool boolean(bool value) {
    Add(JsonNode::Kind::kBool).truth = value;
    return true;
  }
  bool number_integer(number_integer_t value) { return Number(static_cast<double>(value), fmt::format("{}", value)); }
  bool number_unsigned(number_unsigned_t value) { return Number(static_cast<double>(value), fmt::format("{}", value)); }
  bool number_float(number_float_t value, const string_t& written) { return Number(value, written); }
  bool string(string_t& value) {
    Add(JsonNode::Kind::kString).text = std::move(value);
    return true;
  }
  bool binary(binary_t&) { return false; }  // never in text
  bool start_object(std::size_t) { return Open(JsonNode::Kind::kObject); }
  bool key(string_t& name) {
    JsonNode& object = *open_.back();
    if (name.size() > kMaxJsonString) {
      Refuse(fmt::format("a name of {} bytes, {} are allowed", name.size(), kMaxJsonString));
    }
    object.keys.push_back(std::move(name));
    return true;
  }
  bool end_object() {
    RefuseTwins(open_.back()->keys);
    open_.pop_back();
    return true;
  }
  bool start_array(std::size_t) { return Open(JsonNode::Kind::kArray); }
  bool end_array() {
    open_.pop_back();
    return true;
  }
  bool parse_error(std::size_t position, const std::string&, const json::exception& error) {
    const std::string sentence = PlainSentence(error.what());
    const std::size_t last = position - std::min<std::size_t>(position, 1);  // the last byte read
    const std::size_t offset = sentence.starts_with("unexpected") ? TokenStart(text_, last) : last;
    throw InputError(fmt::format("{}:{}: {}", fileName_, LineAndColumn(text_, offset), Printable(sentence)));
  }

 private:
  [[noreturn]] void Refuse(const std::string& complaint) const {
    const std::string pointer = Printable(Pointer());
    throw InputError(fmt::format("{}: {}{}{}", fileName_, pointer, pointer.empty() ? "" : ": ", complaint));
  }

  // Of the innermost open array or object.
  std::string Pointer() const {
    std::string pointer;
    for (std::size_t i = 0; i + 1 < open_.size(); ++i) {
      const JsonNode& outer = *open_[i];
      pointer += outer.kind == JsonNode::Kind::kObject ? PointerStep(outer.keys.back())
                                                       : fmt::format("/{}", outer.items.size() - 1);
    }
    return pointer;
  }

  bool Number(double value, const std::string& written) {
    JsonNode& node = Add(JsonNode::Kind::kNumber);
    node.number = value;
    node.text = written;
    return true;
  }

  bool Open(JsonNode::Kind kind) {
    if (open_.size() == kMaxJsonDepth) {
      Refuse(fmt::format("nested more than {} deep", kMaxJsonDepth));
    }
    open_.push_back(&Add(kind));
    return true;
  }

  // An open node's address stays: its parent's list grows only after the node is closed.
  JsonNode& Add(JsonNode::Kind kind) {
    if (++count_ > kMaxJsonValues) throw InputError(fmt::format("{}: more than {} values", fileName_, kMaxJsonValues));
    JsonNode& node = open_.empty() ? root_ : open_.back()->items.emplace_back();
    node.kind = kind;
    return node;
  }

  void RefuseTwins(const std::vector<std::string>& keys) const {
    std::vector<std::string_view> sorted(keys.begin(), keys.end());
    std::sort(sorted.begin(), sorted.end());
    const auto twin = std::adjacent_find(sorted.begin(), sorted.end());
    if (twin == sorted.end()) return;
    throw InputError(fmt::format("{}: {}: is given twice", fileName_, Printable(Pointer() + PointerStep(*twin))));
  }

  std::string_view text_;
  const std::string& fileName_;
  JsonNode root_;
  std::vector<JsonNode*> open_;
  std::size_t count_ = 0;
};

}  // namespace

std::string PointerStep(std::string_view key) {
  std::string step = "/";
  for (const char c : key) {
    if (c == '~') {
      step += "~0";
    } else if (c == '/') {
      step += "~1";
    } else {
      step += c;
    }
  }
  return step;
}

std::string LineAndColumn(std::string_view text, std::size_t offset) {
  std::string_view before = text.substr(0, std::min(offset, text.size()));
  if (before.starts_with(kByteOrderMark)) before.remove_prefix(kByteOrderMark.size());
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t newline = before.rfind('\n');
  const std::string_view onLine = newline == std::string_view::npos ? before : before.substr(newline + 1);
  const auto column = 1 + std::count_if(onLine.begin(), onLine.end(),
                                        [](char c) { return (static_cast<unsigned char>(c) & 0xC0u) != 0x80u; });
  return fmt::format("{}:{}", line, column);
}

JsonNode ParseJson(std::string_view text, const std::string& fileName) {
  if (text.size() > kMaxSceneBytes) {
    throw InputError(fmt::format("{}: is larger than {} bytes", fileName, kMaxSceneBytes));
  }
  // The parser takes a zero byte for the end of the text and would not look at what follows.
  if (const auto zero = text.find('\0'); zero != std::string_view::npos) {
    throw InputError(fmt::format("{}:{}: a zero byte", fileName, LineAndColumn(text, zero)));
  }
  TreeBuilder builder(text, fileName);
  constexpr bool kWholeText = true, kSkipComments = true;
  json::sax_parse(text.begin(), text.end(), &builder, json::input_format_t::json, kWholeText, kSkipComments);
  return builder.TakeRoot();
}

}  // namespace orvandel::stage
