#include "tests/e2e/support/module_calls.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace e2e {

const Method& Module::method(int methodId) const {
    const auto found = std::ranges::find(methods, methodId, &Method::id);
    if (found != methods.end()) return *found;
    ADD_FAILURE() << "no method " << methodId;
    return methods.front();
}

void ModuleCalls::send(int id, const Bytes& arguments) {
    EXPECT_TRUE(socket_.send(Message().byte(module_.id).byte(id).raw(arguments))) << "the helper is gone";
}

void ModuleCalls::expectHeader(int id) {
    const Bytes expected = Message().byte(module_.id).byte(id);
    EXPECT_EQ(hex(socket_.receive(2)), hex(expected)) << "header of " << module_.method(id).name;
}

int32_t ModuleCalls::receiveInt() {
    return Reader(socket_.receive(4)).int32();
}

int64_t ModuleCalls::receiveLong() {
    return Reader(socket_.receive(8)).int64();
}

std::string ModuleCalls::receiveText() {
    const Bytes text = receiveBytes();
    return {text.begin(), text.end()};
}

Bytes ModuleCalls::receiveBytes() {
    return socket_.receive(static_cast<size_t>(receiveInt()));
}

Bytes ModuleCalls::receiveResult(const Method& method) {
    switch (method.result) {
        case ResultKind::none:
            return {};
        case ResultKind::byte:
            return socket_.receive(1);
        case ResultKind::int32:
            return socket_.receive(4);
        case ResultKind::int64:
        case ResultKind::fraction:
            return socket_.receive(8);
        case ResultKind::text:
        case ResultKind::bytes:
        case ResultKind::ints:
        case ResultKind::texts:
            break;
    }
    const Bytes count = socket_.receive(4);
    const auto elements = static_cast<size_t>(Reader(count).int32());
    Message result;
    result.raw(count);
    if (method.result == ResultKind::ints) return result.raw(socket_.receive(elements * 4));
    if (method.result != ResultKind::texts) return result.raw(socket_.receive(elements));
    for (size_t i = 0; i < elements; ++i) {
        const Bytes length = socket_.receive(4);
        result.raw(length).raw(socket_.receive(static_cast<size_t>(Reader(length).int32())));
    }
    return result;
}

Bytes ModuleCalls::call(int id, const Bytes& arguments) {
    send(id, arguments);
    expectHeader(id);
    expectHeader(id);
    return receiveResult(module_.method(id));
}

int32_t ModuleCalls::callForInt(int id, const Bytes& arguments) {
    return Reader(call(id, arguments)).int32();
}

int64_t ModuleCalls::callForLong(int id, const Bytes& arguments) {
    return Reader(call(id, arguments)).int64();
}

bool ModuleCalls::callForFlag(int id, const Bytes& arguments) {
    const uint8_t answer = Reader(call(id, arguments)).byte();
    EXPECT_LE(answer, 1) << "a boolean is 0 or 1";
    return answer != 0;
}

std::string ModuleCalls::callForText(int id, const Bytes& arguments) {
    return Reader(call(id, arguments)).text();
}

Bytes ModuleCalls::callForBytes(int id, const Bytes& arguments) {
    const Bytes counted = call(id, arguments);
    return counted.size() < 4 ? Bytes{} : Bytes{counted.begin() + 4, counted.end()};
}

Bytes argumentsOf(const Method& method, const MadeUp& values) {
    Message arguments;
    for (const char* letter = method.arguments; *letter != '\0'; ++letter) {
        switch (*letter) {
            case 'm':
            case 'c':
                arguments.int64(values.handle);
                break;
            case 'i':
                arguments.int32(values.number);
                break;
            case 'b':
                arguments.byte(0);
                break;
            case 'f':
                arguments.fraction(0.5);
                break;
            case 's':
                arguments.text(values.text);
                break;
            default:
                arguments.int64(0);
                break;
        }
    }
    return arguments;
}

Bytes emptyResult(const Method& method) {
    switch (method.result) {
        case ResultKind::none:
            return {};
        case ResultKind::byte:
            return Message().byte(0);
        case ResultKind::int64:
        case ResultKind::fraction:
            return Message().int64(0);
        default:
            return Message().int32(0);  // the number zero, or a text or an array without elements
    }
}

}  // namespace e2e
