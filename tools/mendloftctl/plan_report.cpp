#include <algorithm>
#include <cstring>

#include <nlohmann/json.hpp>

#include "common/text.h"
#include "mendloftctl/meanings.h"
#include "mendloftctl/plan.h"

namespace ctl {

using tools::ToUtf8;

namespace {

// Numbers are right-aligned, and the objects of the actions form a column.
std::string Line(const Step& step, std::size_t number, std::size_t widthOfNumber,
                 std::size_t widthOfAction) {
    const std::string count = std::to_string(number);
    std::string line(widthOfNumber - count.size(), ' ');
    line += count + ". " + step.action;
    if (!step.what.empty()) {
        line.append(widthOfAction - std::strlen(step.action) + 2, ' ');
        line += ToUtf8(step.what);
    }
    if (!step.to.empty()) line += " -> " + ToUtf8(step.to);
    if (!step.note.empty()) line += " (" + step.note + ")";
    return line + "\n";
}

std::size_t LongestAction(const std::vector<Step>& steps) {
    std::size_t longest = 0;
    for (const Step& step : steps) longest = std::max(longest, std::strlen(step.action));
    return longest;
}

nlohmann::ordered_json ToJson(const Step& step) {
    nlohmann::ordered_json json{{"action", step.action}};
    if (!step.what.empty()) json["what"] = ToUtf8(step.what);
    if (!step.to.empty()) json["to"] = ToUtf8(step.to);
    if (!step.note.empty()) json["note"] = step.note;
    return json;
}

}  // namespace

std::string ToText(const Plan& plan, const LibraryFunction* function) {
    const std::size_t widthOfNumber = std::to_string(plan.steps.size()).size();
    const std::size_t widthOfAction = LongestAction(plan.steps);
    std::string text;
    for (std::size_t index = 0; index < plan.steps.size(); ++index) {
        text += Line(plan.steps[index], index + 1, widthOfNumber, widthOfAction);
    }
    if (plan.code) {
        text += std::string(function->name) + " would return " + std::to_string(*plan.code) + ": " +
                std::string(MeaningOf(function->results, *plan.code).sentence) + "\n";
    }
    // The last line, so that a plan in a ticket is not taken for a record of what happened.
    return text + "Nothing was done.\n";
}

nlohmann::ordered_json ToJson(const Plan& plan, const LibraryFunction* function) {
    nlohmann::ordered_json json{{"steps", nlohmann::ordered_json::array()}};
    for (const Step& step : plan.steps) json["steps"].push_back(ToJson(step));
    if (plan.code) {
        const Meaning& meaning = MeaningOf(function->results, *plan.code);
        json["expected"] = {
            {"code", *plan.code}, {"success", meaning.IsSuccess()}, {"meaning", meaning.sentence}};
    }
    return json;
}

}  // namespace ctl
