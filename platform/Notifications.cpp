#include "platform/Notifications.h"

#include <algorithm>
#include <cstdio>

NSError::NSError(std::string domain, int64_t code, std::string description)
    : domain_(std::move(domain)), code_(code), description_(std::move(description)) {}

std::string NSError::description() const {
    return "Error Domain=" + domain_ + " Code=" + std::to_string(code_) + " \"" + description_ + "\"";
}

NSNotification::NSNotification(const NotificationName& name, NSObject* object, NSError* error)
    : name_(&name), object_(Ref<NSObject>::share(object)), error_(Ref<NSError>::share(error)) {}

std::string NSNotification::description() const {
    char object[32];
    std::snprintf(object, sizeof object, "%p", static_cast<void*>(object_.get()));
    std::string text = std::string("{name = ") + name_->text + "; object = " + object;
    if (error_) text += "; userInfo = " + error_->description();
    return text + "}";
}

NotificationObserver::~NotificationObserver() {
    NSNotificationCenter::defaultCenter().removeObserver(*this);
}

NSNotificationCenter& NSNotificationCenter::defaultCenter() {
    // Never destroyed: frameworks' threads may post while the process ends.
    static NSNotificationCenter* const center = new NSNotificationCenter;
    return *center;
}

void NSNotificationCenter::addObserver(NotificationObserver& observer, const NotificationName& name) {
    const std::lock_guard lock(mutex_);
    registrations_.push_back({&observer, &name});
}

void NSNotificationCenter::removeObserver(const NotificationObserver& observer) {
    const std::lock_guard lock(mutex_);
    std::erase_if(registrations_,
                  [&](const Registration& registration) { return registration.observer == &observer; });
}

void NSNotificationCenter::postNotification(NSNotification& notification) {
    std::vector<Ref<NotificationObserver>> observers;
    {
        const std::lock_guard lock(mutex_);
        for (const Registration& registration : registrations_) {
            if (registration.name != &notification.name()) continue;
            // An observer that is being destroyed waits for the lock in its destructor: it cannot be revived.
            if (registration.observer->retainIfAlive()) {
                observers.push_back(Ref<NotificationObserver>::adopt(registration.observer));
            }
        }
    }
    for (const Ref<NotificationObserver>& observer : observers)
        observer->handleNotification(notification);
}
