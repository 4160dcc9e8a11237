#include "mendloftctl/plan.h"

#include "common/text.h"
#include "core/boolean_argument.h"
#include "install/setup_flow.h"
#include "mendloftctl/planned_steps.h"
#include "telnet/loopback_address.h"

namespace ctl {

namespace {

// The library reduces the port to 16 bits, so the plan does too.
std::wstring ProbedEndpoint(std::int32_t port) {
    return tools::FromUtf8(TELNET::kLoopbackAddress) + L":" +
           std::to_wstring(static_cast<std::uint16_t>(port));
}

}  // namespace

Plan MakePlan(const LibraryFunction& function, std::int32_t argument, const PlanFacts& facts) {
    PlannedSteps steps(facts);
    FixHelper helper;
    std::optional<std::int32_t> code;
    switch (function.results) {
        case ResultKind::kFolder:
            code = steps.FixFolder(helper, IsTrue(argument), /*fixFolders=*/true);
            break;
        case ResultKind::kSetup:
            code = SetUpPackage(steps, helper, *function.driverFiles, argument);
            break;
        // Whether a program will be listening cannot be foreseen, so there is no code.
        default:
            steps.Add("connect to", ProbedEndpoint(argument),
                      "closes the connection at once; nothing is sent");
    }
    return {steps.Take(), code};
}

Plan WithPrivateFolder(Plan plan, const std::wstring& folder) {
    plan.steps.insert(plan.steps.begin(), {kCreateFolder, folder, L"",
                                           "only administrators and the system may enter it"});
    plan.steps.push_back({kDeleteFolder, folder, L"", ""});
    return plan;
}

}  // namespace ctl
