#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "TestEvents.h"

namespace {

constexpr EventTypeSpec kKindOne[] = {{kTestClass, 1}};
constexpr EventTypeSpec kCommands[] = {{kEventClassCommand, kEventCommandProcess}};

/** What was called, one letter a handler. */
std::string calls;

template <char letter, OSStatus answer>
OSStatus note(EventHandlerCallRef, EventRef, void*) {
    calls += letter;
    return answer;
}

WindowRef windowNumber(uintptr_t number) {
    return reinterpret_cast<WindowRef>(number);
}

class EventTargets : public testing::Test {
protected:
    void SetUp() override { calls.clear(); }
    void TearDown() override {
        for (EventHandlerRef handler : installed_) {
            RemoveEventHandler(handler);
        }
        DisposeWindowEventTarget(windowNumber(1));
        DisposeWindowEventTarget(windowNumber(2));
    }
    EventHandlerRef install(EventTargetRef target, EventHandlerUPP handler,
                            const EventTypeSpec* types = kKindOne, void* userData = nullptr) {
        EventHandlerRef reference = nullptr;
        EXPECT_EQ(noErr, InstallEventHandler(target, handler, 1, types, userData, &reference));
        installed_.push_back(reference);
        return reference;
    }
    static OSStatus send(EventTargetRef target, uint32_t kind = 1, OSType eventClass = kTestClass) {
        return SendEventToEventTarget(makeEvent(kind, eventClass).get(), target);
    }

    const EventTargetRef application_ = GetApplicationEventTarget();
    const EventTargetRef dispatcher_ = GetEventDispatcherTarget();
    std::vector<EventHandlerRef> installed_;
};

TEST_F(EventTargets, without_handlers_leave_an_event_unhandled) {
    EXPECT_EQ(eventNotHandledErr, send(application_));
    EXPECT_EQ(eventNotHandledErr, send(dispatcher_));
}

TEST_F(EventTargets, call_the_newest_handler_first_and_stop_at_one_that_handles) {
    install(application_, note<'a', noErr>);
    install(application_, note<'b', 5>);
    install(application_, note<'c', eventNotHandledErr>);
    EXPECT_EQ(5, send(application_));
    EXPECT_EQ("cb", calls);
}

TEST_F(EventTargets, call_handlers_of_the_event_s_type_alone) {
    install(application_, note<'a', noErr>);
    EXPECT_EQ(eventNotHandledErr, send(application_, 2));
    EXPECT_EQ(eventNotHandledErr, send(application_, 1, fourCC("else")));
    EXPECT_EQ("", calls);
}

TEST_F(EventTargets, give_handlers_the_event_and_their_own_data) {
    struct Seen {
        EventRef event = nullptr;
    } seen;
    install(
        application_,
        [](EventHandlerCallRef, EventRef event, void* data) -> OSStatus {
            static_cast<Seen*>(data)->event = event;
            return noErr;
        },
        kKindOne, &seen);
    const OwnedEvent event = makeEvent(1);
    SendEventToEventTarget(event.get(), application_);
    EXPECT_EQ(event.get(), seen.event);
}

TEST_F(EventTargets, do_not_call_a_removed_handler) {
    EventHandlerRef handler = install(application_, note<'a', noErr>);
    EXPECT_EQ(noErr, RemoveEventHandler(handler));
    EXPECT_EQ(paramErr, RemoveEventHandler(handler));
    EXPECT_EQ(eventNotHandledErr, send(application_));
    EXPECT_EQ("", calls);
}

TEST_F(EventTargets, let_a_handler_remove_an_older_one_and_itself) {
    static EventHandlerRef older;
    static EventHandlerRef self;
    older = install(application_, note<'a', noErr>);
    self = install(application_, [](EventHandlerCallRef, EventRef, void*) -> OSStatus {
        calls += 'r';
        RemoveEventHandler(older);
        RemoveEventHandler(self);
        return eventNotHandledErr;
    });
    EXPECT_EQ(eventNotHandledErr, send(application_));
    EXPECT_EQ(eventNotHandledErr, send(application_));
    EXPECT_EQ("r", calls);
}

TEST_F(EventTargets, let_a_handler_call_the_rest_of_the_chain_first) {
    install(application_, note<'a', 3>);
    install(application_, [](EventHandlerCallRef call, EventRef event, void*) -> OSStatus {
        const OSStatus status = CallNextEventHandler(call, event);
        calls += 'b';
        return status + 1;
    });
    EXPECT_EQ(4, send(application_));
    EXPECT_EQ("ab", calls);
}

TEST_F(EventTargets, refuse_what_is_no_target_no_handler_and_no_event) {
    EXPECT_EQ(paramErr, InstallEventHandler(nullptr, note<'a', noErr>, 1, kKindOne, nullptr, nullptr));
    EXPECT_EQ(paramErr, InstallEventHandler(application_, nullptr, 1, kKindOne, nullptr, nullptr));
    EXPECT_EQ(paramErr, InstallEventHandler(application_, note<'a', noErr>, 1, nullptr, nullptr, nullptr));
    EXPECT_EQ(paramErr, send(nullptr));
    EXPECT_EQ(paramErr, SendEventToEventTarget(nullptr, application_));
    EXPECT_EQ(paramErr, CallNextEventHandler(nullptr, makeEvent(1).get()));
}

TEST_F(EventTargets, of_the_dispatcher_come_before_the_application_s) {
    install(application_, note<'a', noErr>);
    install(dispatcher_, note<'d', eventNotHandledErr>);
    EXPECT_EQ(noErr, send(dispatcher_));
    EXPECT_EQ("da", calls);
}

TEST_F(EventTargets, off_the_main_thread_are_the_dispatcher_s_own_alone) {
    install(application_, note<'a', noErr>);
    install(dispatcher_, note<'d', eventNotHandledErr>);
    OSStatus status = noErr;
    std::thread([&] { status = send(dispatcher_); }).join();
    EXPECT_EQ(eventNotHandledErr, status);
    EXPECT_EQ("d", calls);
}

TEST_F(EventTargets, of_the_active_window_come_between_dispatcher_and_application) {
    ASSERT_EQ(noErr, CreateWindowEventTarget(windowNumber(1)));
    ASSERT_EQ(noErr, CreateWindowEventTarget(windowNumber(2)));
    install(application_, note<'a', noErr>, kCommands);
    install(dispatcher_, note<'d', eventNotHandledErr>, kCommands);
    install(GetWindowEventTarget(windowNumber(1)), note<'1', eventNotHandledErr>, kCommands);
    install(GetWindowEventTarget(windowNumber(2)), note<'2', eventNotHandledErr>, kCommands);
    EXPECT_EQ(noErr, send(dispatcher_, kEventCommandProcess, kEventClassCommand));
    SetActiveWindow(windowNumber(2));
    EXPECT_EQ(noErr, send(dispatcher_, kEventCommandProcess, kEventClassCommand));
    SetActiveWindow(nullptr);
    EXPECT_EQ(noErr, send(dispatcher_, kEventCommandProcess, kEventClassCommand));
    EXPECT_EQ(
        "da"
        "d2a"
        "da",
        calls);
}

TEST_F(EventTargets, of_a_window_that_the_event_names_precede_the_active_one_s) {
    CreateWindowEventTarget(windowNumber(1));
    CreateWindowEventTarget(windowNumber(2));
    SetActiveWindow(windowNumber(2));
    install(GetWindowEventTarget(windowNumber(1)), note<'1', noErr>);
    install(GetWindowEventTarget(windowNumber(2)), note<'2', noErr>);
    const OwnedEvent event = makeEvent(1);
    const WindowRef named = windowNumber(1);
    SetEventParameter(event.get(), kEventParamDirectObject, typeWindowRef, sizeof(named), &named);
    EXPECT_EQ(noErr, SendEventToEventTarget(event.get(), dispatcher_));
    EXPECT_EQ("1", calls);
}

TEST_F(EventTargets, of_a_window_go_with_it) {
    ASSERT_EQ(noErr, CreateWindowEventTarget(windowNumber(1)));
    EXPECT_EQ(paramErr, CreateWindowEventTarget(windowNumber(1)));
    EXPECT_EQ(paramErr, CreateWindowEventTarget(nullptr));
    const EventTargetRef target = GetWindowEventTarget(windowNumber(1));
    const EventHandlerRef handler = install(target, note<'1', noErr>);
    SetActiveWindow(windowNumber(1));
    DisposeWindowEventTarget(windowNumber(1));
    EXPECT_EQ(nullptr, GetWindowEventTarget(windowNumber(1)));
    EXPECT_EQ(paramErr, send(target));
    EXPECT_EQ(paramErr, RemoveEventHandler(handler));
    EXPECT_EQ(eventNotHandledErr, send(dispatcher_));
    EXPECT_EQ("", calls);
}

TEST_F(EventTargets, let_a_window_go_in_the_middle_of_its_own_event) {
    CreateWindowEventTarget(windowNumber(1));
    const EventTargetRef target = GetWindowEventTarget(windowNumber(1));
    install(application_, note<'a', noErr>);
    install(target, note<'1', noErr>);
    install(target, [](EventHandlerCallRef, EventRef, void*) -> OSStatus {
        DisposeWindowEventTarget(windowNumber(1));
        return eventNotHandledErr;
    });
    EXPECT_EQ(noErr, send(target));
    EXPECT_EQ("a", calls) << "the window's other handler went with the window";
}

TEST_F(EventTargets, keep_an_event_alive_that_a_handler_releases) {
    install(application_, [](EventHandlerCallRef, EventRef event, void*) -> OSStatus {
        ReleaseEvent(event);
        return eventNotHandledErr;
    });
    install(dispatcher_, note<'d', eventNotHandledErr>);
    EXPECT_EQ(eventNotHandledErr, SendEventToEventTarget(makeEvent(1).release(), dispatcher_));
}

}  // namespace
