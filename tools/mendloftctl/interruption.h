#pragma once

#include <windows.h>

#include "platform/unique_handle.h"

namespace ctl {

// While this lives, Ctrl+C and the closing of the console do not end the program at once but set an
// event, so that it can tidy up. One at a time.
class Interruption {
public:
    Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    [[nodiscard]] HANDLE Event() const { return event_.Get(); }

private:
    UniqueHandle event_;
};

}  // namespace ctl
