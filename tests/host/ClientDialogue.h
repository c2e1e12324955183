/* ClientDialogue.h: one call of a client, answered by a server that speaks bytes of its own.
 *
 * Thread: main; the server has its own.
 */
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <vector>

#include "host/client/CallConnection.h"
#include "tests/host/FakeHelper.h"

namespace fake {

constexpr std::chrono::seconds kPatient{20};

enum class Pace { AtOnce, ByteByByte };

/** A connection to a server that takes one call and answers it. */
template <class Client>
class Dialogue {
public:
    Dialogue(size_t requestSize, Bytes reply, Pace pace = Pace::AtOnce)
        : helper_([=, this](Peer& peer) {
              asked_.set_value(peer.read(requestSize));
              if (pace == Pace::ByteByByte) {
                  peer.trickle(reply);
              } else {
                  peer.write(reply);
              }
          }) {
        EXPECT_FALSE(connection_.open(helper_.port(), kPatient));
        client_.setLimit(kPatient);
    }
    Client& client() { return client_; }
    tarvo::CallConnection& connection() { return connection_; }
    /** What the server was asked. Once. */
    Bytes asked() { return asked_.get_future().get(); }

private:
    std::promise<Bytes> asked_;
    FakeHelper helper_;
    tarvo::CallConnection connection_;
    Client client_{connection_};
};

/** Both headers and the result. */
inline Bytes answerOf(uint8_t module, uint8_t method, const Bytes& result) {
    return join({{module, method, module, method}, result});
}

/** A call and its answer, written out by hand. */
template <class Client>
struct MethodCase {
    const char* name;
    uint8_t method;
    Bytes arguments;
    Bytes result;
    std::function<void(Client& client)> callAndCheck;
};

template <class Client>
void expectCalls(uint8_t module, const std::vector<MethodCase<Client>>& methods) {
    for (const auto& method : methods) {
        SCOPED_TRACE(method.name);
        const Bytes request = join({{module, method.method}, method.arguments});
        Dialogue<Client> dialogue(request.size(), answerOf(module, method.method, method.result));
        method.callAndCheck(dialogue.client());
        EXPECT_TRUE(dialogue.connection().isOpen());
        EXPECT_EQ(dialogue.asked(), request);
    }
}

template <class Client>
void expectAnswersByteByByte(uint8_t module, const std::vector<MethodCase<Client>>& methods) {
    for (const auto& method : methods) {
        SCOPED_TRACE(method.name);
        Dialogue<Client> dialogue(2 + method.arguments.size(), answerOf(module, method.method, method.result),
                                  Pace::ByteByByte);
        method.callAndCheck(dialogue.client());
    }
}

}  // namespace fake
