// The program's commands, one function each. They take what was parsed, print to standard output, and throw what goes
// wrong: InputError, WorkError, EffectError, Interrupted.
#pragma once

#include "cli/requests.h"

namespace orvandel::cli {

void Render(const RenderRequest& request);
void ListFormats();
void Farm(const FarmRequest& request);
void FarmStatus(const FarmFolderRequest& request);
void FarmResume(const FarmFolderRequest& request);
void FarmJoin(const FarmFolderRequest& request);
void Params(const ParamsRequest& request);
void Check(const CheckRequest& request);
void Describe(const DescribeRequest& request);
void Waves(const WavesRequest& request);
void Sheet(const SheetRequest& request);
void New(const NewRequest& request);
void Presets(bool asJson);
void Studio(const StudioRequest& request);
void About(const AboutRequest& request);
void Schema(const AboutRequest& request);

}  // namespace orvandel::cli
