/* Notifications.h: one object tells, others that asked for it by name are called.
 *
 * Thread: any. Observers are called on the thread that posts, one after another, without a lock held; an
 *         observer may add, remove and post.
 * Owns:   the centre holds no reference on an observer, except while it calls it. An observer that is
 *         destroyed without having been removed is not called any more.
 * Errors: none; a notification that nobody asked for goes nowhere.
 */
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/Object.h"

/** What went wrong in a framework: a domain, and a code of that domain. */
class TARVO_PLATFORM_API NSError : public NSObject {
public:
    NSError(std::string domain, int64_t code, std::string description);

    const std::string& domain() const { return domain_; }
    int64_t code() const { return code_; }
    const std::string& localizedDescription() const { return description_; }
    /** "Error Domain=… Code=… "…"", as the platform log shows it. */
    std::string description() const;

protected:
    ~NSError() override = default;

private:
    std::string domain_;
    int64_t code_;
    std::string description_;
};

/** A notification's name. Two are the same when they are the same object. */
struct NotificationName {
    const char* text;
};

class TARVO_PLATFORM_API NSNotification : public NSObject {
public:
    /** `object`: who tells; `error`: the user info's only value, may be null. */
    NSNotification(const NotificationName& name, NSObject* object, NSError* error);

    const NotificationName& name() const { return *name_; }
    NSObject* object() const { return object_.get(); }
    NSError* error() const { return error_.get(); }
    /** As the platform log shows it. */
    std::string description() const;

protected:
    ~NSNotification() override = default;

private:
    const NotificationName* name_;
    Ref<NSObject> object_;
    Ref<NSError> error_;
};

/** Who wants to be told. */
class TARVO_PLATFORM_API NotificationObserver : public NSObject {
public:
    virtual void handleNotification(NSNotification& notification) = 0;

protected:
    ~NotificationObserver() override;
};

class TARVO_PLATFORM_API NSNotificationCenter {
public:
    static NSNotificationCenter& defaultCenter();

    /** From any object. Twice registered is twice called. */
    void addObserver(NotificationObserver& observer, const NotificationName& name);
    /** Drops all registrations. A call that is under way on another thread goes on, on its own reference. */
    void removeObserver(const NotificationObserver& observer);
    void postNotification(NSNotification& notification);

private:
    struct Registration {
        NotificationObserver* observer;
        const NotificationName* name;
    };

    std::mutex mutex_;
    std::vector<Registration> registrations_;  // guarded by mutex_
};
