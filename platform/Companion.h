/* Companion.h: a program of ours in a process of its own, for work that may end the process that does it.
 *
 * The libraries that draw end their process when the display goes, and cannot be kept from it in the middle
 * of a request. What they draw for must not end with them, so it has them work in a companion and talks with
 * it by messages.
 *
 * A companion inherits the environment, standard error, which it has for standard output too, and its end of
 * the connection; nothing else that is open. Its one argument is the name of the program that started it. It
 * ends with that one.
 *
 * Thread: main thread. The listener is called while the thread's GLib sources are served: by the
 *         application's event loop, and by serveUntil().
 * Owns:   the process: it is ended and reaped when its companion object goes.
 * Errors: a companion that cannot be started, ends by itself, makes no sense or takes too long is a companion
 *         that is not running. The reason goes to standard error, once.
 */
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/Export.h"
#include "platform/Messages.h"

class TARVO_PLATFORM_API Companion {
public:
    /** Neither function may destroy the companion. */
    struct Listener {
        /** A message came. False when it makes no sense, which ends the companion. */
        std::function<bool(MessageReader& message)> received;
        /** It is not running any more, though nobody here ended it. */
        std::function<void()> ended;
    };

    /** Starts the program at that path. */
    Companion(std::string program, Listener listener);
    ~Companion();
    Companion(const Companion&) = delete;
    Companion& operator=(const Companion&) = delete;

    bool isRunning() const { return socket_.isOpen(); }
    /** Never waits. A companion that lets too many messages lie is ended. */
    bool send(const MessageWriter& message);
    /** Serves the thread's sources, but no posted event, until `isDone`; below 0 there is no limit.
     *
     * False when the companion ended before, or when the time was over, which ends it.
     */
    bool serveUntil(const std::function<bool()>& isDone, double seconds);

private:
    struct Watch;

    void start();
    void arrived();
    void handle(const std::vector<uint8_t>& bytes);
    void fail(const std::string& reason);
    std::string farewell();
    std::optional<int> reap(int patienceMs);
    std::optional<int> endProcess();
    void end();

    const std::string program_;
    const Listener listener_;
    MessageSocket socket_;
    std::unique_ptr<Watch> watch_;
    pid_t pid_ = -1;
};

/** The path of a file in the folder of the library or program that `address` lies in; the bare name when that
 * cannot be told. */
TARVO_PLATFORM_API std::string fileBeside(const void* address, const std::string& name);

/* ---- For the companion itself ---------------------------------------------------------------------- */

/** To be called before anything else: ties the companion's life to that of its starter, and answers the
 * connection, which blocks. None when the program was not started as a companion. */
TARVO_PLATFORM_API MessageSocket joinStarter();
