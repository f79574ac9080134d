// Stands in for the private heap in this test program: every block comes from malloc, where address checking sees it,
// and any one allocation can be made to fail.
#pragma once

namespace orvandel::checked_heap {

// The allocation after `succeeding` further ones fails, once. Negative: none fails.
void FailAfter(int succeeding);
// Whether the failure asked for has happened.
bool HasFailed();
int BlocksInUse();

}  // namespace orvandel::checked_heap
