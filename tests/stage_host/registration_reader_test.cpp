#include "stage/loading/registration_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>

#include "media_files.h"
#include "orvandel/effect.h"
#include "stage/base/errors.h"

namespace orvandel::stage {
namespace {

const std::vector<std::uint8_t>& ModuleBytes() {
  static const std::vector<std::uint8_t> bytes = ReadBytes(ORVANDEL_MODULE_FILE);
  return bytes;
}

std::size_t Find(const std::vector<std::uint8_t>& bytes, std::string_view text) {
  const std::string_view whole(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const std::size_t found = whole.find(text);
  if (found == std::string_view::npos) throw std::runtime_error("the module does not contain " + std::string(text));
  return found;
}

// The directory's entry of the resource: type, id 16000, language 1033.
const std::string kEntry = ORV_REGISTRATION_TYPE "\x80\x3E\x09\x04";

TEST(RegistrationReader, ReadsTheModule) {
  const Registration registration = ReadRegistration(ORVANDEL_MODULE_FILE);
  EXPECT_EQ(registration.Text("name").value_or("").substr(0, 4), "$$$/");
  EXPECT_EQ(registration.TerminatedText("8664"), "FilterMain");
  EXPECT_EQ(registration.Word("kind"), ORV_KIND_EFFECT);
  EXPECT_TRUE(registration.Word("eVER") && registration.Word("eGLO"));
  EXPECT_FALSE(registration.Word("nope"));
  EXPECT_FALSE(registration.Word("name")) << "a text is no word";
}

TEST(RegistrationReader, TheFirstByteTellsTheHeadersLength) {
  const std::string property("ownreman\0\0\0\0\4\0\0\0\7\0\0\0", 20);
  for (const std::string& header : {std::string(8, '\0'), "\1" + std::string(9, '\0')}) {
    const std::string bytes = header + property;
    EXPECT_EQ(Registration(std::vector<std::uint8_t>(bytes.begin(), bytes.end())).Word("name"), 7U);
  }
}

TEST(RegistrationReader, SaysWhatIsMissing) {
  const TempFolder folder;
  const auto reasonFor = [&](std::string_view hidden) {
    std::vector<std::uint8_t> bytes = ModuleBytes();
    bytes[Find(bytes, hidden)] = '_';
    WriteBytes(folder / "changed.so", bytes);
    return ErrorOf<WorkError>([&] { ReadRegistration(folder / "changed.so"); });
  };
  const std::string sectionName = std::string(ORV_RESOURCE_SECTION) + '\0';
  EXPECT_THAT(reasonFor(sectionName), testing::HasSubstr("no registration section"));
  EXPECT_THAT(reasonFor(kEntry), testing::HasSubstr("no registration resource"));
  EXPECT_THAT(reasonFor("\177ELF"), testing::HasSubstr("ELF"));
  EXPECT_THROW(ReadRegistration(folder / "absent.so"), WorkError);
}

}  // namespace
}  // namespace orvandel::stage
