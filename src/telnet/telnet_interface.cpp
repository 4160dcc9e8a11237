#include "telnet/telnet_interface.h"

#include <cstring>
#include <mutex>
#include <new>
#include <utility>

namespace TELNET {

TelnetInterface::TelnetInterface() {
    // Entered for good: whoever else wants this lock waits for as long as the connection lives.
    holdLock.lock();
}

TelnetInterface::~TelnetInterface() {
    lastText.reset();
    messages.clear();
    // Tried first, because another thread than the constructing one may be here; left once in any
    // case. On the constructing thread that undoes the trial and the lock is deleted while still
    // held, elsewhere it gives up the other thread's hold. Nobody waits for it by now.
    (void)holdLock.try_lock();
    holdLock.unlock();
}

void TelnetInterface::OnConnect(std::int32_t /*reserved*/) {}

void TelnetInterface::PushMessage(const char* data, std::int32_t length, std::int32_t tag) try {
    if (length <= 0) return;
    const auto size = static_cast<std::size_t>(length);

    const std::lock_guard guard(queueLock);
    auto message = std::make_unique<Message>();
    message->text.reset(static_cast<char*>(std::malloc(size + 1)));
    if (!message->text) return;
    std::memcpy(message->text.get(), data, size);
    message->text.get()[size] = '\0';
    message->tag = tag;
    messages.push_back(std::move(message));
} catch (const std::bad_alloc&) {
    // The receive thread must not end the host's process for want of a few bytes.
}

const char* TelnetInterface::PopMessage(std::int32_t* tag) {
    const std::lock_guard guard(queueLock);
    if (messages.empty()) return nullptr;

    const std::unique_ptr<Message> message = std::move(messages.front());
    messages.pop_front();
    lastText = std::move(message->text);
    *tag = message->tag;
    return lastText.get();
}

}  // namespace TELNET
