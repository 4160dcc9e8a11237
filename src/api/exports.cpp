#include <cstdint>
#include <memory>

#include "api/boolean_argument.h"
#include "api/fix_helper.h"

// The functions that libmendloft.def exports. Each takes one 32-bit argument, which the caller
// removes, and passes on the result of the one routine that it runs.

extern "C" std::int32_t MendloftFolder(std::int32_t repair) {
    const auto helper = std::make_shared<FixHelper>();
    return helper->FixFolder(IsTrue(repair), true);
}
