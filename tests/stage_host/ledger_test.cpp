#include "stage/module/ledger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

namespace orvandel::stage {
namespace {

using Loan = Ledger::Loan;

// Random lending and returning in any order balances; taking one return away does not, and names the loan.
TEST(Ledger, FindsTheOneLoanThatIsMissing) {
  std::mt19937 random(2);
  constexpr Loan kKinds[] = {Loan::kParameter, Loan::kPath, Loan::kLengthQuery, Loan::kService};
  for (int round = 0; round < 50; ++round) {
    Ledger ledger;
    std::vector<std::pair<Loan, std::uint64_t>> out;
    for (int i = 0; i < 200; ++i) {
      out.emplace_back(kKinds[random() % 4], random() % 5 == 0 ? random() : random() % 40);
      ledger.Lend(out.back().first, out.back().second);
    }
    std::shuffle(out.begin(), out.end(), random);
    for (std::size_t i = 1; i < out.size(); ++i) EXPECT_TRUE(ledger.TakeBack(out[i].first, out[i].second));
    const std::string wrong = ledger.EndCommand();
    EXPECT_NE(wrong.find("1 x "), std::string::npos) << wrong;
    EXPECT_NE(wrong.find(std::to_string(out[0].second)), std::string::npos) << wrong;
    EXPECT_EQ(ledger.EndCommand(), "") << "a command's faults are told once";
    EXPECT_FALSE(ledger.TakeBack(out[0].first, out[0].second)) << "written off, so no longer lent";
    EXPECT_NE(ledger.EndCommand(), "");
  }
}

TEST(Ledger, HandlesBelongToTheirOwner) {
  Ledger ledger;
  const int first = 0, second = 0;
  const OrvHandle kept = ledger.NewHandle(100, &first);
  const OrvHandle other = ledger.NewHandle(0, &second);
  ASSERT_NE(kept, nullptr);
  ASSERT_NE(other, nullptr);
  std::memset(*kept, 1, 100);
  ledger.Lock(kept);
  ledger.Unlock(kept);
  ledger.Unlock(kept);  // harmless: a host may count locks or not
  EXPECT_EQ(ledger.EndCommand(), "") << "handles may outlive a command";
  EXPECT_NE(ledger.EndOwner(&first), "");
  ledger.Dispose(kept);
  EXPECT_EQ(ledger.EndOwner(&first), "");
  EXPECT_NE(ledger.EndAll(), "");
  ledger.Dispose(other);
  EXPECT_EQ(ledger.EndAll() + ledger.EndCommand(), "");
  EXPECT_EQ(ledger.NewHandle(~std::uint64_t{0}, &first), nullptr);
}

TEST(Ledger, SeesMisuseOfHandlesAndTables) {
  Ledger ledger;
  const auto misused = [&](const auto& act) {
    act();
    return !ledger.EndCommand().empty();
  };
  const OrvHandle handle = ledger.NewHandle(10, nullptr);
  EXPECT_TRUE(misused([&] {
    static_cast<char*>(*handle)[10] = 1;
    ledger.Dispose(handle);
  })) << "one byte too far";
  EXPECT_TRUE(misused([&] { ledger.Dispose(handle); })) << "twice";
  const OrvHandle locked = ledger.NewHandle(10, nullptr);
  EXPECT_TRUE(misused([&] {
    ledger.Lock(locked);
    ledger.Dispose(locked);
  }));
  EXPECT_TRUE(misused([&] { ledger.Lock(locked); })) << "after its end";
  EXPECT_TRUE(misused([&] { ledger.StringsClosed(); }));
  ledger.StringsOpened();
  EXPECT_FALSE(misused([] {})) << "the table stays open from command to command";
  EXPECT_NE(ledger.EndAll(), "");
}

}  // namespace
}  // namespace orvandel::stage
