#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

// Returns how long one call of `work` takes, in microseconds.
template <typename Work>
[[nodiscard]] double Microseconds(Work work) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    work();
    return std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
}

// Returns the middle value. Of an even number of values, it is the upper of the middle two.
[[nodiscard]] inline double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

[[nodiscard]] inline double Least(const std::vector<double>& values) {
    return *std::min_element(values.begin(), values.end());
}
