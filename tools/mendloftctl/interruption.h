#pragma once

#include <windows.h>

#include "platform/unique_handle.h"

namespace ctl {

// While an object of this class exists, Ctrl+C and closing the console do not end the program at
// once. They set an event, so that the program can end the call and remove its private folder
// first. There must be only one such object at a time.
class Interruption {
public:
    // When Windows cannot make the event, such requests are ignored until the destructor.
    Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    // Set from the first request on, by a thread of the system; null when it could not be made.
    [[nodiscard]] HANDLE Event() const { return event_.Get(); }

private:
    UniqueHandle event_;
};

}  // namespace ctl
