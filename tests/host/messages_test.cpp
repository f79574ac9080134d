// Texts of failures: keys to display text, substitution, conversion, and the field that always ends in a NUL.
#include <gtest/gtest.h>

#include <cstring>

#include "effect/host/messages.h"
#include "effect/platform/host_text.h"
#include "effect/platform/wide_text.h"
#include "tests/support/fake_host.h"

#if !defined(__SANITIZE_ADDRESS__)
static std::int64_t mallocsLeft = INT64_MAX;
// The C library's, refusing at will.
extern "C" void* __libc_malloc(std::size_t bytes);
extern "C" void* malloc(std::size_t bytes) { return --mallocsLeft < 0 ? nullptr : __libc_malloc(bytes); }
#endif

namespace orvandel::test {
namespace {

TEST(Messages, FailuresNameTheEffectAndTheSize) {
  FakeHost host;
  ASSERT_EQ(host.Send(ORV_GLOBAL_SET_UP), 0);
  OrvOutRecord out{};
  SetOutOfMemoryMessage(out, AllocFailed(1000));
  EXPECT_STREQ(out.message, "Orvandel: Insufficient free memory (unable to allocate 1000 bytes)");
  SetOutOfMemoryMessage(out, AllocFailed());
  EXPECT_STREQ(out.message, "Orvandel: Insufficient free memory");
  EXPECT_EQ(out.outFlags, 0x100U);
  SetInternalErrorMessage(out);
  EXPECT_STREQ(out.message, "Orvandel: Internal Error");
  EXPECT_EQ(AllocFailed::ForBytes(0x7FFFFFFF).size, 0x7FFFFFFF);
  EXPECT_EQ(AllocFailed::ForBytes(0x80000000).size, -1);
}

#if !defined(__SANITIZE_ADDRESS__)
TEST(Messages, WithoutMemoryForTheWordsTheFieldIsEmptyAndTheFlagSet) {
  FakeHost host;
  ASSERT_EQ(host.Send(ORV_GLOBAL_SET_UP), 0);
  for (int refused = 0;; ++refused) {
    OrvOutRecord out{};
    std::memset(out.message, 'q', sizeof(out.message));
    mallocsLeft = refused;
    SetOutOfMemoryMessage(out, AllocFailed(1000));
    const bool met = mallocsLeft < 0;
    mallocsLeft = INT64_MAX;
    EXPECT_EQ(out.outFlags, 0x100U);
    EXPECT_EQ(std::strlen(out.message), met ? 0U : 66U) << refused;
    if (!met) break;
  }
}
#endif

// Cut at a character boundary: the field never ends in half a character, whatever the text.
TEST(Messages, LongTextsAreCutBetweenCharacters) {
  const std::string character = "\xE2\x97\x8B";  // three bytes
  for (std::size_t lead = 0; lead < 4; ++lead) {
    std::string text(lead, 'x');
    while (text.size() < 400) text += character;
    OrvOutRecord out{};
    std::memset(out.message, 'q', sizeof(out.message));
    SetMessage(out, text.c_str());
    const std::size_t length = std::strlen(out.message);
    EXPECT_LE(length, 255U);
    EXPECT_GE(length, 253U);
    EXPECT_EQ((length - lead) % 3, 0U);
    EXPECT_EQ(text.compare(0, length, out.message), 0);
  }
  OrvOutRecord out{};
  SetMessage(out, std::string(400, '\x80').c_str());
  EXPECT_STREQ(out.message, "") << "no character begins";
}

TEST(Messages, SubstitutionIsSinglePass) {
  std::array<platform::WideString, 10> arguments;
  arguments[0] = u"@1";
  arguments[1] = u"one";
  arguments[9] = u"nine";
  EXPECT_EQ(platform::ReplaceInString(u"@0 @1 @9 @2| @ @x @@1 @@@1", arguments), u"@1 one nine | @ @x @one @@one");
}

TEST(Messages, KeysAndConversions) {
  EXPECT_EQ(platform::Lq_ZStringToUTF16String("$$$/a/b=c=d"), u"c=d");
  EXPECT_EQ(platform::Lq_ZStringToUTF16String("a=b"), u"a=b");
  EXPECT_EQ(platform::Lq_ZStringToUTF16String("$$$/a/b"), u"$$$/a/b");
  // Every character there is survives the way to wide text and back.
  for (char32_t c = 1; c < 0x110000; c += c < 0x1000 ? 1 : 15) {
    if (c >= 0xD800 && c < 0xE000) continue;
    platform::WideString wide;
    if (c >= 0x10000) wide.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
    wide.push_back(static_cast<char16_t>(c < 0x10000 ? c : 0xDC00 + (c & 0x3FF)));
    const platform::ByteString bytes = platform::Lq_UTF16ToMBString(wide, false);
    EXPECT_EQ(bytes.size(), c < 0x80 ? 1U : c < 0x800 ? 2U : c < 0x10000 ? 3U : 4U);
    EXPECT_EQ(platform::Lq_ZStringToUTF16String(bytes.c_str()), wide) << std::hex << static_cast<std::uint32_t>(c);
  }
  // Malformed bytes become replacement characters one by one and never swallow what follows.
  for (int lead = 0x80; lead < 0x100; ++lead) {
    const bool valid = lead >= 0xC2 && lead < 0xF5;
    for (int following = 0; following < 5; ++following) {
      const int needed = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
      const bool whole = valid && following >= needed;
      const std::string text = std::string(1, static_cast<char>(lead)) + std::string(following, '\xBF') + "z";
      const platform::WideString wide = platform::Lq_ZStringToUTF16String(text.c_str());
      const std::size_t units = !whole ? 0 : lead < 0xF0 ? 1 : 2;
      const int malformed = whole ? following - needed : following + 1;
      ASSERT_GE(wide.size(), units);
      EXPECT_EQ(wide.substr(units), platform::WideString(malformed, u'\uFFFD') + u"z") << lead << ' ' << following;
    }
  }
  // Halves of a pair, whole and lone, beside characters at the borders of their ranges.
  const char16_t halves[] = {0xE000, 0xD800, 0xDC00, 0xE000, 0xDC00, 0xDC00, 0xD800, 0xE000, 0xD7FF, 0xD800, 0};
  const std::string lone = "\xEF\xBF\xBD", first = "\xEE\x80\x80", last = "\xED\x9F\xBF";
  const auto bytes = platform::Lq_UTF16ToMBString(halves, false);
  EXPECT_EQ(std::string(bytes.c_str()), first + "\xF0\x90\x80\x80" + first + lone + lone + lone + first + last + lone);
}

}  // namespace
}  // namespace orvandel::test
