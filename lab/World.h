/* World.h: all devices of the lab, and the dialog's answer.
 *
 * Thread: any. The world's lock is taken before a device's own, and held for looking devices up only.
 * Owns:   its devices; whoever got a DeviceRef keeps the device alive, also after it has left the world.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "lab/Device.h"
#include "lab/Export.h"

namespace lab {

namespace nikon {
struct ModuleSetup;
}

/** What the movie export dialog will answer. */
struct Dialog {
    enum class Answer { ok = 1, cancel, error };
    Answer answer = Answer::ok;
    int64_t status = 0;  // of an error
    std::vector<uint8_t> settings;
    int64_t delayMs = 0;
};

/** All that a scenario says. */
struct Setup {
    std::string folder;  // where relative paths start
    std::vector<std::string> photos;
    std::vector<DeviceRef> devices;
    Dialog dialog;
    std::shared_ptr<const nikon::ModuleSetup> module;  // of the Nikon module object; null: nothing said
};

class LAB_EXPORT World {
public:
    static World& instance();

    /** Pulls every device out of the old world and puts the new one in its place. */
    void replace(Setup setup);

    /** In the order of the scenario, newcomers last. */
    std::vector<DeviceRef> devices() const;
    DeviceRef find(std::string_view id) const;
    /** Takes the place of a device that was pulled and has the same id; false when that one is attached. */
    bool add(const DeviceRef& device);

    std::string folder() const;
    std::vector<std::string> photos() const;
    std::shared_ptr<const nikon::ModuleSetup> module() const;
    Dialog dialog() const;
    void setDialog(Dialog dialog);

private:
    bool put(const DeviceRef& device);

    mutable std::mutex mutex_;
    Setup setup_;  // guarded by mutex_
};

}  // namespace lab
