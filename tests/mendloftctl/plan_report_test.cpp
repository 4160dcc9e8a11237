#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "mendloftctl/plan.h"

namespace {

using ctl::Plan;
using Json = nlohmann::ordered_json;

const Plan kPlan{{{"copy file", L"C:\\a", L"C:\\b", "copies nothing"},
                  {"enumerate devices", L"the tree", L"", ""}},
                 -2};

TEST(PlanReport, NumbersTheStepsInItsText) {
    EXPECT_EQ(
        "1. copy file          C:\\a -> C:\\b (copies nothing)\n"
        "2. enumerate devices  the tree\n"
        "SetUpKisDriver would return -2: The installer tool is not in the folder files\\inf beside "
        "the library.\n"
        "Nothing was done.\n",
        ToText(kPlan, ctl::FindFunction("SetUpKisDriver")));
}

TEST(PlanReport, StatesNoCodeWhenThePlanHasNone) {
    EXPECT_EQ("1. look for  C:\\a\nNothing was done.\n",
              ToText(Plan{{{"look for", L"C:\\a", L"", ""}}, {}}, nullptr));
}

TEST(PlanReport, IsAvailableAsJson) {
    const Json expected = Json::parse(R"({
        "steps": [
            {"action": "copy file", "what": "C:\\a", "to": "C:\\b", "note": "copies nothing"},
            {"action": "enumerate devices", "what": "the tree"}
        ],
        "expected": {
            "code": -2,
            "success": false,
            "meaning": "The installer tool is not in the folder files\\inf beside the library."
        }
    })");

    EXPECT_EQ(expected, ToJson(kPlan, ctl::FindFunction("SetUpKisDriver")));
}

}  // namespace
