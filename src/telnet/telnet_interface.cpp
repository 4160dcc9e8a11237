#include "telnet/telnet_interface.h"

#include <cstring>
#include <mutex>
#include <new>
#include <utility>

namespace TELNET {

TelnetInterface::TelnetInterface() {
    // Held until destruction. For every other thread the lock is taken as long as the connection
    // exists, and a crash dump shows by its owner which thread made the connection.
    holdLock.lock();
}

TelnetInterface::~TelnetInterface() {
    lastText.reset();
    messages.clear();
    // Not entered with lock(), which would wait forever on any thread but the constructing one.
    // There try_lock() fails, and unlock() releases what the constructing thread holds. On the
    // constructing thread try_lock() succeeds, and unlock() undoes only that: the lock is deleted
    // while it is held. So no thread may wait on it.
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
    // The line is lost. An exception would end the receive thread, and all later lines would be
    // lost.
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
