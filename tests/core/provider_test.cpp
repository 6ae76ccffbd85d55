// The provider runtime and its components.
#include "bus/traces.h"
#include "core/method_descriptor.h"
#include "core/provider.h"
#include "support/interposer.h"
#include "support/service_names.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

namespace {

using bus_test::Strings;
using bus_test::traces;
using namespace support;

class Provider : public bus_test::ClassLayer {
  protected:
    VirtualClock clock{GetModuleHandleW(nullptr)};

    std::vector<Pause> polls(std::size_t count) const {
        return std::vector<Pause>(count, {"ZtSleep", 50});
    }
};

struct Thread : farlo::CZtThread {
    void AskToStop() override {
        ++stop_requests;
        traces.emplace_back("stop requested");
    }
    bool IsDone() const override { return stop_requests > 0 && done; }

    int stop_requests = 0;
    bool done = true;
};

struct Object : farlo::CZtCustomObject {
    explicit Object(std::string object_name) : name(std::move(object_name)) {}
    ~Object() override { traces.push_back("destroyed " + name); }
    std::string name;
};

struct Listener : farlo::CZtEventListener {
    void OnEvent(const char* name) override { events.emplace_back(name); }
    Strings events;
};

const Strings shutdown_traces = {
    "6 clusapiprov::__ZtApiShutdown(), CZtThreadContainer shutdown completed.",
    "6 clusapiprov::__ZtApiShutdown(), CZtCustomObjectContainer shutdown completed.",
    "6 clusapiprov::__ZtApiShutdown(), CZtControlManager shutdown completed.",
    "6 clusapiprov::__ZtApiShutdown(), CZtEventManager shutdown completed.",
};

TEST_F(Provider, ShutsDownComponentsInOrder) {
    Thread thread;
    {
        farlo::CZtProvider provider(L"clusapiprov");
        provider.Initialize();
        provider.threads()->Add(thread);
        provider.custom_objects()->Add(std::make_unique<Object>("a"));
        EXPECT_EQ(traces, Strings{});
    }
    EXPECT_EQ(traces, (Strings{"stop requested", shutdown_traces[0], "destroyed a",
                               shutdown_traces[1], shutdown_traces[2], shutdown_traces[3]}));
    EXPECT_EQ(thread.stop_requests, 1);
    EXPECT_EQ(clock.pauses(), polls(0));
}

TEST_F(Provider, ShutsDownWithoutInitialization) {
    { farlo::CZtProvider provider(L"clusapiprov"); }
    EXPECT_EQ(traces, shutdown_traces);
}

TEST_F(Provider, KeepsComponentsWhenInitializedAgain) {
    farlo::CZtProvider provider(L"clusapiprov");
    provider.Initialize();
    const auto* const threads = provider.threads();
    const auto* const custom_objects = provider.custom_objects();
    const auto* const controls = provider.controls();
    const auto* const events = provider.events();
    provider.Initialize();
    EXPECT_EQ(provider.threads(), threads);
    EXPECT_EQ(provider.custom_objects(), custom_objects);
    EXPECT_EQ(provider.controls(), controls);
    EXPECT_EQ(provider.events(), events);
}

TEST_F(Provider, PollsThreadsEvery50Milliseconds) {
    Thread quick, slow;
    slow.done = false;
    farlo::CZtThreadContainer threads;
    threads.Add(quick);
    threads.Add(slow);
    clock.on_pause = [&](int number) { slow.done = number == 3; };
    threads.Shutdown();
    EXPECT_EQ(quick.stop_requests, 1);
    EXPECT_EQ(slow.stop_requests, 1);
    EXPECT_EQ(clock.pauses(), polls(3));
    EXPECT_EQ(traces, (Strings{"stop requested", "stop requested"}));
}

TEST_F(Provider, GivesUpAfter60Seconds) {
    Thread hung;
    hung.done = false;
    farlo::CZtThreadContainer threads;
    threads.Add(hung);
    threads.Shutdown();
    EXPECT_EQ(clock.elapsed(), 60'000u);
    EXPECT_EQ(clock.pauses(), polls(1200));
    EXPECT_EQ(traces, (Strings{"stop requested",
                               "6 clusapiprov: TIMEOUT_ERROR: All threads did not complete before "
                               "the specified timeout."}));
}

TEST_F(Provider, AcceptsThreadThatEndsAtLastPoll) {
    Thread slow;
    slow.done = false;
    farlo::CZtThreadContainer threads;
    threads.Add(slow);
    clock.on_pause = [&](int number) { slow.done = number == 1200; };
    threads.Shutdown();
    EXPECT_EQ(clock.pauses(), polls(1200));
    EXPECT_EQ(traces, Strings{"stop requested"});
}

TEST_F(Provider, RemoveTransfersOwnershipOfObject) {
    farlo::CZtCustomObjectContainer objects;
    auto owner = std::make_unique<Object>("a");
    const Object* const object = owner.get();
    objects.Add(std::move(owner));
    const std::unique_ptr<farlo::CZtCustomObject> removed = objects.Remove(object);
    EXPECT_EQ(removed.get(), object);
    EXPECT_EQ(objects.Remove(object), nullptr);
    objects.Shutdown();
    EXPECT_EQ(traces, Strings{});
}

// Other code may still refer to the object.
TEST_F(Provider, LazyDeleteKeepsObjectUntilShutdown) {
    farlo::CZtCustomObjectContainer objects;
    auto owner = std::make_unique<Object>("a");
    const Object* const object = owner.get();
    objects.Add(std::move(owner));
    objects.Add(std::make_unique<Object>("b"));
    objects.LazyDelete(object);
    objects.LazyDelete(object);
    EXPECT_EQ(traces, Strings{});
    EXPECT_EQ(objects.Remove(object), nullptr);
    objects.Shutdown();
    EXPECT_EQ(traces, (Strings{"destroyed a", "destroyed b"}));
}

TEST_F(Provider, NotifyFailsWithoutListener) {
    farlo::CZtEventManager events;
    EXPECT_EQ(events.Notify("event"), ZTERROR_NO_EVENT);
    Listener listener;
    events.AddListener(listener);
    events.Shutdown();
    EXPECT_EQ(events.Notify("event"), ZTERROR_NO_EVENT);
    EXPECT_EQ(listener.events, Strings{});
}

TEST_F(Provider, NotifyCallsEveryListener) {
    farlo::CZtEventManager events;
    Listener first, second;
    events.AddListener(first);
    events.AddListener(second);
    EXPECT_EQ(events.Notify("event"), bus_success);
    EXPECT_EQ(first.events, Strings{"event"});
    EXPECT_EQ(second.events, Strings{"event"});
}

constexpr GUID interface_guid = {
    0x11223344, 0x5566, 0x7788, {0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff, 0x00}};
constexpr opal_objid object_id = {
    {0x04, 0x03, 0x02, 0x01, 0x06, 0x05, 0x08, 0x07, 9, 10, 11, 12, 13, 14, 15, 16}};

TEST_F(Provider, DispatchReturnsUnknownMethodAndTracesIt) {
    farlo::CZtControlManager controls;
    EXPECT_EQ(controls.Dispatch(object_id, interface_guid, 3, 4), ZTERROR_UNKNOWN_METHOD);
    ASSERT_EQ(traces.size(), 1u);
    EXPECT_EQ(traces[0].substr(0, 31), "6 clusapiprov: no control for O");
}

TEST_F(Provider, RuntimeKeepsProviderWhenStartedForAnotherConnection) {
    const auto runtime = std::make_unique<farlo::ProviderRuntime>();
    EXPECT_FALSE(runtime->started());
    const farlo::ConnectionPair first{reinterpret_cast<opal_connection>(1),
                                      reinterpret_cast<opal_context>(2)};
    const farlo::ConnectionPair second{reinterpret_cast<opal_connection>(3),
                                       reinterpret_cast<opal_context>(4)};
    EXPECT_EQ(runtime->start(first), bus_success);
    EXPECT_TRUE(runtime->started());
    const farlo::CZtProvider* const provider = runtime->provider();
    EXPECT_EQ(runtime->current_connection().connection, first.connection);
    EXPECT_EQ(runtime->start(second), bus_success);
    EXPECT_EQ(runtime->provider(), provider);
    EXPECT_EQ(runtime->current_connection().connection, second.connection);
    EXPECT_EQ(runtime->current_connection().context, second.context);
    EXPECT_EQ(traces, Strings{});
}

// Which of the next allocations fails, counted from 1.
long failing_allocation;
void* (*real_malloc)(std::size_t);
void* failing_malloc(std::size_t size) {
    return --failing_allocation == 0 ? nullptr : real_malloc(size);
}

// The handle of this connection works without a provider.
TEST_F(Provider, RuntimeKeepsConnectionWhenProviderCannotStart) {
    const farlo::ConnectionPair pair{reinterpret_cast<opal_connection>(1),
                                     reinterpret_cast<opal_context>(2)};
    const Interposer allocations(GetModuleHandleW(nullptr), "malloc", failing_malloc);
    real_malloc = allocations.original<void*(std::size_t)>();
    // The first allocation is for the provider, the others are for its four components.
    for (const long failing : {2, 3, 4, 5}) {
        SCOPED_TRACE(failing);
        traces.clear();
        const auto runtime = std::make_unique<farlo::ProviderRuntime>();
        failing_allocation = failing;
        const std::uint32_t status = runtime->start(pair);
        EXPECT_LE(failing_allocation, 0);
        EXPECT_EQ(status, bus_provider_failed);
        EXPECT_FALSE(runtime->started());
        EXPECT_EQ(runtime->current_connection().connection, pair.connection);
        EXPECT_EQ(runtime->current_connection().context, pair.context);
        EXPECT_EQ(traces, Strings{"6 clusapiprov: ERROR: An exception was thrown in [clusapiprov] "
                                  "CZtProvider::Initialize()"});
        EXPECT_EQ(runtime->start(pair), bus_success);
        EXPECT_TRUE(runtime->started());
    }
}

// A thread of the provider calls the runtime that is being destroyed.
TEST_F(Provider, RuntimeStartsNothingWhileShuttingDown) {
    struct CallingThread : Thread {
        void AskToStop() override {
            Thread::AskToStop();
            status = runtime->start({});
        }
        farlo::ProviderRuntime* runtime = nullptr;
        std::uint32_t status = 0;
    } thread;
    {
        farlo::ProviderRuntime runtime;
        ASSERT_EQ(runtime.start({}), bus_success);
        thread.runtime = &runtime;
        runtime.provider()->threads()->Add(thread);
    }
    EXPECT_EQ(thread.status, bus_shutting_down);
}

TEST_F(Provider, FormatsDescriptorOfMethod) {
    EXPECT_EQ(farlo::FormatMethodDescriptor(object_id, interface_guid, 3, 0xffffffff),
              "OBJ:{01020304-0506-0708-090a-0b0c0d0e0f10},"
              "INTF:{11223344-5566-7788-99aa-bbccddeeff00},MJ:3,MN:-1");
}

// The strings that the bus returns for GUIDs, in order; NULL after the last.
std::vector<std::string> guid_strings;
char* next_guid_string(const GUID*) {
    if (guid_strings.empty()) {
        return nullptr;
    }
    const std::string string = guid_strings.front();
    guid_strings.erase(guid_strings.begin());
    auto* const block = static_cast<char*>(_ZtAlloc(string.size() + 1));
    std::memcpy(block, string.c_str(), string.size() + 1);
    return block;
}

TEST_F(Provider, DescriptorThrowsNoMemoryWithoutIdString) {
    const Interposer strings(GetModuleHandleW(nullptr), "ZtGUIDToString", next_guid_string);
    for (const std::size_t count : {0u, 1u}) {
        SCOPED_TRACE(count);
        guid_strings.assign(count, "string");
        EXPECT_EQ(bus_test::thrown_by([&] {
                      std::ignore = farlo::FormatMethodDescriptor(object_id, interface_guid, 3, 4);
                  }),
                  bus_no_memory);
    }
}

TEST_F(Provider, DescriptorThrowsInvalidArgumentBeyond255Characters) {
    const Interposer strings(GetModuleHandleW(nullptr), "ZtGUIDToString", next_guid_string);
    const auto describe = [](std::size_t length) {
        guid_strings = {std::string(length, 'o'), ""};
        return farlo::FormatMethodDescriptor(object_id, interface_guid, 3, 4);
    };
    const std::string rest = ",INTF:,MJ:3,MN:4";
    const std::size_t room = 255 - rest.size() - 4;
    EXPECT_EQ(describe(room), "OBJ:" + std::string(room, 'o') + rest);
    for (const std::size_t length : {room + 1, room + 2, room + 300}) {
        SCOPED_TRACE(length);
        EXPECT_EQ(bus_test::thrown_by([&] { describe(length); }), bus_invalid_argument);
    }
}

}  // namespace
