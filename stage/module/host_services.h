// The C side of the host: the in-record's callbacks, the utility table, the service table, the named services.
#pragma once

#include "orvandel/host.h"
#include "stage/module/host_answers.h"

namespace orvandel::stage {

OrvCallbacks HostCallbacks();
const OrvUtilities* HostUtilities();
const OrvServiceTable* HostServiceTable();

}  // namespace orvandel::stage
