/* companion_program: does what it is told by messages: a word, and what the word is about. */
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "platform/Companion.h"

namespace {

constexpr uint32_t kAnswer = 2;

void answer(const MessageSocket& starter, const std::string& text) {
    MessageWriter message(kAnswer);
    message(text);
    starter.send(message);
}

std::string openDescriptors() {
    std::string numbers;
    for (int number = 0; number < 256; ++number) {
        if (fcntl(number, F_GETFD) >= 0) numbers += std::to_string(number) + " ";
    }
    return numbers;
}

std::string ignoredSignals() {
    std::string numbers;
    for (const int number : {SIGXFSZ, SIGCHLD, SIGTERM, SIGUSR1}) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN) numbers += std::to_string(number) + " ";
    }
    return numbers;
}

void carryOut(const MessageSocket& starter, const std::string& word, const std::string& about) {
    if (word == "echo") answer(starter, about);
    if (word == "process") answer(starter, std::to_string(getpid()));
    if (word == "descriptors") answer(starter, openDescriptors());
    if (word == "ignored") answer(starter, ignoredSignals());
    if (word == "end") _exit(std::stoi(about));
    if (word == "raise") raise(std::stoi(about));
    if (word == "hang") pause();
    if (word == "close") {
        close(starter.descriptor());
        pause();
    }
    if (word == "send") {
        const std::string bytes(std::stoul(about), 'x');
        if (write(starter.descriptor(), bytes.data(), bytes.size()) < 0) _exit(EXIT_FAILURE);
    }
}

}  // namespace

int main(int /*argc*/, char** argv) {
    const MessageSocket starter = joinStarter();
    std::vector<uint8_t> bytes;
    while (starter.receive(bytes) == MessageSocket::Arrival::message) {
        MessageReader message(bytes);
        uint32_t kind = 0;
        std::string word;
        std::string about;
        if (!message.readKind(kind) || !message(word, about)) return EXIT_FAILURE;
        if (word == "name") {
            answer(starter, argv[1]);
        } else {
            carryOut(starter, word, about);
        }
    }
    return EXIT_SUCCESS;
}
