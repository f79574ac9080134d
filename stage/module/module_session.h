// The inside of an EffectModule: the effect's code, the books, and the one way in which commands are sent.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "orvandel/effect.h"
#include "stage/module/effect_module.h"
#include "stage/module/host_records.h"
#include "stage/module/ledger.h"

namespace orvandel::stage {

// What the effect's last word on a parameter's appearance was.
struct ParamUiState {
  bool inactive = false;
  bool closed = false;  // of a group start
};

struct Command {
  std::int32_t selector = 0;
  OrvParamDef** params = nullptr;
  OrvImage* output = nullptr;
  void* extra = nullptr;
};

struct EffectModule::Impl {
  explicit Impl(std::unique_ptr<EffectLibrary> library);
  ~Impl();
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  // Sends one command and takes the handles over: `sequenceData` is handed in and replaced. Then, in this order:
  // throws what a callback of the host threw; WorkError when the books do not balance; Interrupted when the effect
  // stopped because it was asked to; EffectError for any other code.
  OrvOutRecord Send(const Command& command, HostAnswers& answers, const CommandTime& when, OrvHandle& sequenceData);

  // Discards what the effect reported of its parameters' appearance.
  void ShowAsRegistered();

  // Global set-down, then nothing may be lent any more: WorkError. Afterwards no command may be sent.
  void SetDown();

  std::string name;  // for complaints
  Ledger ledger;
  Identity identity;
  ParamCatalog catalog;
  std::vector<std::string> complaints;
  std::vector<ParamUiState> ui;  // by host index; as registered, then as the effect updates it

 private:
  void Register();
  void CompareWithResource();
  void SetUp();

  std::unique_ptr<EffectLibrary> library_;
  OrvFilterMain filterMain_ = nullptr;
  OrvHandle globalData_ = nullptr;
};

}  // namespace orvandel::stage
