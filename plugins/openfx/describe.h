// What the plug-in tells a host about itself. Both may be called any number of times, on one descriptor or on several.
#pragma once

#include "plugins/openfx/param_table.h"
#include "plugins/openfx/suites.h"

namespace orvandel::ofx {

inline constexpr const char* kIdentifier = "org.orvandel.Orvandel";
// A change of defaults, of meanings or of parameters that alters pictures of old projects is a new major version.
inline constexpr unsigned kVersionMajor = 1, kVersionMinor = 0;

OfxStatus Describe(const Suites& suites, OfxImageEffectHandle descriptor);
// `table` must outlive the plug-in: hosts may keep the names' addresses.
OfxStatus DescribeInContext(const Suites& suites, OfxImageEffectHandle descriptor, const std::string& context,
                            const ParamTable& table);

}  // namespace orvandel::ofx
