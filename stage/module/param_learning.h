// Listens to the effect's parameter set-up and fills the catalog from it.
#pragma once

#include <vector>

#include "stage/module/host_answers.h"
#include "stage/scene/param_catalog.h"

namespace orvandel::stage {

// Answers set-up commands: takes parameters in, knows no values and no masks.
class ParamLearner : public HostAnswers {
 public:
  ParamLearner(Ledger& books, ParamCatalog& catalog) : HostAnswers(books), catalog_(catalog) {}

  std::int32_t AddParam(const OrvParamDef& definition) override;

  // Group starts without an end so far; 0 after a well-formed set-up.
  std::size_t OpenGroups() const { return groups_.size(); }

 private:
  ParamCatalog& catalog_;
  std::vector<std::string> groups_;
};

}  // namespace orvandel::stage
