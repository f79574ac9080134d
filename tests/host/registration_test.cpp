// The registration resource as global set-up reads it, on the module's own resource and on damaged ones.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "effect/host/registration.h"
#include "effect/platform/module_resource.h"
#include "tests/support/fake_host.h"

namespace orvandel::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

void PutWord(Bytes& bytes, std::uint32_t word) {
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<std::uint8_t>(word >> (8 * i)));
}

void PutProperty(Bytes& bytes, std::uint32_t key, const Bytes& data) {
  PutWord(bytes, 0x12345678);
  PutWord(bytes, key);
  PutWord(bytes, 0);
  PutWord(bytes, static_cast<std::uint32_t>(data.size()));
  bytes.insert(bytes.end(), data.begin(), data.end());
  bytes.resize(bytes.size() + (4 - data.size() % 4) % 4);
}

const Bytes kWord = {1, 2, 3, 4};
const Bytes kName = {5, 'R', 'i', 'n', 'g', 's'};
enum Keys : std::uint32_t { kName4 = 0x6E616D65, kVersion = 0x65564552, kFlags = 0x65474C4F, kFlags2 = 0x65474C32 };

// Puts a resource in force for the life of the object, behind one of another type and one of another number.
class ResourceInForce {
 public:
  explicit ResourceInForce(const Bytes& resource, std::uint16_t id = ORV_REGISTRATION_ID)
      : kept_(platform::KeptModuleHandle()) {
    OrvResourceEntry directory[4] = {};
    std::memcpy(directory[0].type, "PIPA", 4);
    directory[0].id = ORV_REGISTRATION_ID;
    std::memcpy(directory[1].type, "PIPL", 4);
    directory[1].id = ORV_REGISTRATION_ID + 1;
    std::memcpy(directory[2].type, "PIPL", 4);
    directory[2].id = id;
    directory[2].offset = sizeof(directory);
    directory[2].size = static_cast<std::uint32_t>(resource.size());
    module_.resize((sizeof(directory) + resource.size() + 3) / 4);
    std::memcpy(module_.data(), directory, sizeof(directory));
    if (!resource.empty()) std::memcpy(module_.data() + sizeof(directory) / 4, resource.data(), resource.size());
    platform::KeepModuleHandle(reinterpret_cast<platform::ModuleHandle>(module_.data()));
  }
  ~ResourceInForce() { platform::KeepModuleHandle(kept_); }

 private:
  platform::ModuleHandle kept_;
  std::vector<std::uint32_t> module_;
};

Bytes Resource(const std::vector<std::pair<std::uint32_t, Bytes>>& properties, std::size_t header = 8) {
  Bytes bytes(header);
  if (header == 10) bytes[0] = 1;
  for (const auto& [key, data] : properties) PutProperty(bytes, key, data);
  return bytes;
}

std::int32_t GlobalSetUpWith(FakeHost& host, const Bytes& resource) {
  const ResourceInForce inForce(resource);
  return host.Send(ORV_GLOBAL_SET_UP);
}

TEST(Registration, TheModulesOwnResource) {
  FakeHost host;
  ASSERT_EQ(host.Send(ORV_GLOBAL_SET_UP), 0);
  EXPECT_EQ(host.out.effectVersion, 0x00088001U);
  EXPECT_EQ(host.out.outFlags, 0x16U);
  EXPECT_EQ(host.out.outFlags2, 0x08U);
  EXPECT_STREQ(NameKey(), "$$$/YQ/Effect/Name/Orvandel=Orvandel");
}

TEST(Registration, PropertiesMayBeMissingOrMalformed) {
  const std::pair<std::uint32_t, Bytes> name{kName4, kName}, version{kVersion, kWord}, flags{kFlags, kWord};
  FakeHost host;
  EXPECT_EQ(GlobalSetUpWith(host, Resource({name, version, flags})), 0);
  EXPECT_EQ(host.out.outFlags2, 0U);
  EXPECT_EQ(host.out.effectVersion, 0x04030201U);
  EXPECT_STREQ(NameKey(), "Rings");
  EXPECT_EQ(GlobalSetUpWith(host, Resource({name, version, flags}, 10)), 0) << "a non-zero first byte moves the list";
  EXPECT_EQ(GlobalSetUpWith(host, Resource({flags, {kFlags2, kWord}, version, name})), 0) << "any order";
  EXPECT_EQ(GlobalSetUpWith(host, Resource({name, version, flags, {kFlags2, {1, 2}}})), 512);
  EXPECT_EQ(GlobalSetUpWith(host, Resource({name, version, flags, {kFlags2, {}}})), 512) << "of no bytes, at the end";
  EXPECT_EQ(GlobalSetUpWith(host, Resource({version, flags})), 512);
  EXPECT_EQ(GlobalSetUpWith(host, Resource({name, flags})), 512);
  EXPECT_EQ(GlobalSetUpWith(host, Resource({name, version})), 512);
  EXPECT_EQ(GlobalSetUpWith(host, Resource({name, {kVersion, {1, 2}}, flags})), 512);
  EXPECT_EQ(GlobalSetUpWith(host, {}), 512);
  EXPECT_EQ(GlobalSetUpWith(host, Resource({{kName4, {9, 'R', 'i', 'm'}}, version, flags})), 0);
  EXPECT_STREQ(NameKey(), "Rim") << "no longer than its data";
  {
    const ResourceInForce other(Resource({name, version, flags}), ORV_REGISTRATION_ID + 2);
    EXPECT_EQ(host.Send(ORV_GLOBAL_SET_UP), 512) << "a module without the resource";
  }
  Bytes longName(250, 'x');
  longName[0] = 249;
  EXPECT_EQ(GlobalSetUpWith(host, Resource({{kName4, longName}, version, flags})), 0);
  EXPECT_EQ(std::strlen(NameKey()), 199U);
}

// Every prefix of a good resource is read without touching a byte beyond it, and fails as a whole.
TEST(Registration, TruncatedResources) {
  const Bytes whole = Resource({{kName4, kName}, {kVersion, kWord}, {kFlags, kWord}});
  FakeHost host;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_EQ(GlobalSetUpWith(host, Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))), 512);
  }
  Bytes hugeLength = whole;
  std::memset(hugeLength.data() + 8 + 12, 0xFF, 4);
  EXPECT_EQ(GlobalSetUpWith(host, hugeLength), 512);
}

TEST(Registration, HostsOlderThan12Point1AreRefused) {
  struct Row {
    std::int16_t major, minor;
    std::int32_t code;
  };
  for (const Row& row : {Row{12, 9, 512}, {12, 10, 0}, {11, 99, 512}, {13, 0, 0}, {13, 15, 0}, {-1, 0, 512}}) {
    FakeHost host;
    host.in.hostVersionMajor = row.major;
    host.in.hostVersionMinor = row.minor;
    EXPECT_EQ(host.Send(ORV_GLOBAL_SET_UP), row.code) << row.major << '.' << row.minor;
    const char* message = row.code == 0 ? "" : "This plug-in requires a later version of the host application.";
    EXPECT_STREQ(host.out.message, message);
    EXPECT_EQ(host.out.outFlags & 0x100U, 0U);
  }
}

// A translation is no format: it gets the two numbers, in its own order of words, and nothing beyond them.
TEST(Registration, AboutText) {
  const std::pair<std::string, std::string> texts[] = {
      {"", "Orvandel, v1.1#{cr}#{cr}Generates Expanding Shapes."},
      {"%d 100%% %ld%l%ld%ld %s %", "%d 100% 1%l1%ld %s %"},
      {std::string(254, 'x') + "%ld%ld%ld", std::string(254, 'x') + "1"}};
  for (const auto& [translation, shown] : texts) {
    FakeHost host;
    const auto translate = [&text = translation](const std::string&) { return text; };
    if (!translation.empty()) host.translate = translate;
    ASSERT_EQ(host.Send(ORV_ABOUT), 0);
    EXPECT_EQ(host.out.message, shown);
  }
}

}  // namespace
}  // namespace orvandel::test
