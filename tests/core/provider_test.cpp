// The provider runtime from its own sources: what its shutdown waits for, and in
// which order it ends.
#include "bus/traces.h"
#include "core/method_descriptor.h"
#include "core/provider.h"
#include "support/interposer.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

namespace {

using bus_test::Texts;
using bus_test::traces;

class Provider : public bus_test::ClassLayer {
  protected:
    support::VirtualClock clock{GetModuleHandleW(nullptr)};

    std::vector<support::Pause> polls(std::size_t count) const {
        return std::vector<support::Pause>(count, {"ZtSleep", 50});
    }
};

struct Thread : farlo::CZtThread {
    void AskToStop() override {
        ++asked;
        traces.emplace_back("asked to stop");
    }
    bool IsDone() const override { return asked > 0 && done; }

    int asked = 0;
    bool done = true;
};

struct Object : farlo::CZtCustomObject {
    explicit Object(std::string object_name) : name(std::move(object_name)) {}
    ~Object() override { traces.push_back("destroyed " + name); }
    std::string name;
};

struct Listener : farlo::CZtEventListener {
    void OnEvent(const char* name) override { heard.emplace_back(name); }
    Texts heard;
};

const Texts shutdown_traces = {
    "6 clusapiprov::__ZtApiShutdown(), CZtThreadContainer shutdown completed.",
    "6 clusapiprov::__ZtApiShutdown(), CZtCustomObjectContainer shutdown completed.",
    "6 clusapiprov::__ZtApiShutdown(), CZtControlManager shutdown completed.",
    "6 clusapiprov::__ZtApiShutdown(), CZtEventManager shutdown completed.",
};

TEST_F(Provider, ShutsDownItsComponentsInOrder) {
    Thread thread;
    {
        farlo::CZtProvider provider(L"clusapiprov");
        provider.Initialize();
        provider.threads()->Add(thread);
        provider.custom_objects()->Add(std::make_unique<Object>("a"));
        EXPECT_EQ(traces, Texts{});
    }
    EXPECT_EQ(traces, (Texts{"asked to stop", shutdown_traces[0], "destroyed a", shutdown_traces[1],
                             shutdown_traces[2], shutdown_traces[3]}));
    EXPECT_EQ(thread.asked, 1);
    EXPECT_EQ(clock.pauses(), polls(0));
}

TEST_F(Provider, NeverInitialisedItShutsDownAllTheSame) {
    { farlo::CZtProvider provider(L"clusapiprov"); }
    EXPECT_EQ(traces, shutdown_traces);
}

TEST_F(Provider, InitialisedTwiceItKeepsItsComponents) {
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

TEST_F(Provider, PollsItsThreadsEvery50Milliseconds) {
    Thread quick, slow;
    slow.done = false;
    farlo::CZtThreadContainer threads;
    threads.Add(quick);
    threads.Add(slow);
    clock.on_pause = [&](int number) { slow.done = number == 3; };
    threads.Shutdown();
    EXPECT_EQ(quick.asked, 1);
    EXPECT_EQ(slow.asked, 1);
    EXPECT_EQ(clock.pauses(), polls(3));
    EXPECT_EQ(traces, (Texts{"asked to stop", "asked to stop"}));
}

TEST_F(Provider, GivesUpAfter60Seconds) {
    Thread hung;
    hung.done = false;
    farlo::CZtThreadContainer threads;
    threads.Add(hung);
    threads.Shutdown();
    EXPECT_EQ(clock.elapsed(), 60'000u);
    EXPECT_EQ(clock.pauses(), polls(1200));
    EXPECT_EQ(traces, (Texts{"asked to stop",
                             "6 clusapiprov: TIMEOUT_ERROR: All threads did not complete before "
                             "the specified timeout."}));
}

TEST_F(Provider, AThreadThatEndsWithTheLastPollIsInTime) {
    Thread slow;
    slow.done = false;
    farlo::CZtThreadContainer threads;
    threads.Add(slow);
    clock.on_pause = [&](int number) { slow.done = number == 1200; };
    threads.Shutdown();
    EXPECT_EQ(clock.pauses(), polls(1200));
    EXPECT_EQ(traces, Texts{"asked to stop"});
}

TEST_F(Provider, RemoveHandsAnObjectOver) {
    farlo::CZtCustomObjectContainer objects;
    auto owner = std::make_unique<Object>("a");
    const Object* const object = owner.get();
    objects.Add(std::move(owner));
    const std::unique_ptr<farlo::CZtCustomObject> removed = objects.Remove(object);
    EXPECT_EQ(removed.get(), object);
    EXPECT_EQ(objects.Remove(object), nullptr);
    objects.Shutdown();
    EXPECT_EQ(traces, Texts{});
}

// Others may still hold a reference to it.
TEST_F(Provider, LazyDeleteKeepsAnObjectUntilShutdown) {
    farlo::CZtCustomObjectContainer objects;
    auto owner = std::make_unique<Object>("a");
    const Object* const object = owner.get();
    objects.Add(std::move(owner));
    objects.Add(std::make_unique<Object>("b"));
    objects.LazyDelete(object);
    objects.LazyDelete(object);
    EXPECT_EQ(traces, Texts{});
    EXPECT_EQ(objects.Remove(object), nullptr);
    objects.Shutdown();
    EXPECT_EQ(traces, (Texts{"destroyed a", "destroyed b"}));
}

TEST_F(Provider, NobodyListens) {
    farlo::CZtEventManager events;
    EXPECT_EQ(events.Notify("event"), static_cast<std::uint32_t>(ZTERROR_NO_EVENT));
    Listener listener;
    events.AddListener(listener);
    events.Shutdown();
    EXPECT_EQ(events.Notify("event"), static_cast<std::uint32_t>(ZTERROR_NO_EVENT));
    EXPECT_EQ(listener.heard, Texts{});
}

TEST_F(Provider, EveryListenerHears) {
    farlo::CZtEventManager events;
    Listener first, second;
    events.AddListener(first);
    events.AddListener(second);
    EXPECT_EQ(events.Notify("event"), 0u);
    EXPECT_EQ(first.heard, Texts{"event"});
    EXPECT_EQ(second.heard, Texts{"event"});
}

constexpr GUID interface_guid = {
    0x11223344, 0x5566, 0x7788, {0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff, 0x00}};
constexpr opal_objid object_id = {
    {0x04, 0x03, 0x02, 0x01, 0x06, 0x05, 0x08, 0x07, 9, 10, 11, 12, 13, 14, 15, 16}};

TEST_F(Provider, NoControlIsRegistered) {
    farlo::CZtControlManager controls;
    EXPECT_EQ(controls.Dispatch(object_id, interface_guid, 3, 4),
              static_cast<std::uint32_t>(ZTERROR_UNKNOWN_METHOD));
    ASSERT_EQ(traces.size(), 1u);
    EXPECT_EQ(traces[0].substr(0, 31), "6 clusapiprov: no control for O");
}

TEST_F(Provider, RuntimeStartsOnceForEachConnection) {
    const auto runtime = std::make_unique<farlo::ProviderRuntime>();
    EXPECT_FALSE(runtime->started());
    const farlo::ConnectionPair first{reinterpret_cast<opal_connection>(1),
                                      reinterpret_cast<opal_context>(2)};
    const farlo::ConnectionPair second{reinterpret_cast<opal_connection>(3),
                                       reinterpret_cast<opal_context>(4)};
    EXPECT_EQ(runtime->start(first), 0u);
    EXPECT_TRUE(runtime->started());
    const farlo::CZtProvider* const provider = runtime->provider();
    EXPECT_EQ(runtime->current_connection().connection, first.connection);
    EXPECT_EQ(runtime->start(second), 0u);
    EXPECT_EQ(runtime->provider(), provider);
    EXPECT_EQ(runtime->current_connection().connection, second.connection);
    EXPECT_EQ(runtime->current_connection().context, second.context);
    EXPECT_EQ(traces, Texts{});
}

// The n-th allocation from now on fails.
long failing_allocation;
void* (*real_malloc)(std::size_t);
void* counted_malloc(std::size_t size) {
    return --failing_allocation == 0 ? nullptr : real_malloc(size);
}

// Its pair counts all the same: the handle serves without a provider.
TEST_F(Provider, RuntimeWhoseProviderCannotStart) {
    const farlo::ConnectionPair pair{reinterpret_cast<opal_connection>(1),
                                     reinterpret_cast<opal_context>(2)};
    const support::Interposer allocations(GetModuleHandleW(nullptr), "malloc", counted_malloc);
    real_malloc = allocations.original<void*(std::size_t)>();
    // The provider is made; then the first of its components is not, the second, ...
    for (const long failing : {2, 3, 4, 5}) {
        SCOPED_TRACE(failing);
        traces.clear();
        const auto runtime = std::make_unique<farlo::ProviderRuntime>();
        failing_allocation = failing;
        const std::uint32_t status = runtime->start(pair);
        EXPECT_LE(failing_allocation, 0);
        EXPECT_EQ(status, 0xc1000001);
        EXPECT_FALSE(runtime->started());
        EXPECT_EQ(runtime->current_connection().connection, pair.connection);
        EXPECT_EQ(runtime->current_connection().context, pair.context);
        EXPECT_EQ(traces, Texts{"6 clusapiprov: ERROR: An exception was thrown in [clusapiprov] "
                                "CZtProvider::Initialize()"});
        EXPECT_EQ(runtime->start(pair), 0u);
        EXPECT_TRUE(runtime->started());
    }
}

// Whoever calls while the runtime is being destroyed comes too late.
TEST_F(Provider, RuntimeThatIsShuttingDownStartsNothing) {
    struct LateCaller : Thread {
        void AskToStop() override {
            Thread::AskToStop();
            status = runtime->start({});
        }
        farlo::ProviderRuntime* runtime = nullptr;
        std::uint32_t status = 0;
    } late;
    {
        farlo::ProviderRuntime runtime;
        ASSERT_EQ(runtime.start({}), 0u);
        late.runtime = &runtime;
        runtime.provider()->threads()->Add(late);
    }
    EXPECT_EQ(late.status, 0xc10000c9);
}

TEST_F(Provider, DescriptorOfAMethod) {
    EXPECT_EQ(farlo::FormatMethodDescriptor(object_id, interface_guid, 3, 0xffffffff),
              "OBJ:{01020304-0506-0708-090a-0b0c0d0e0f10},"
              "INTF:{11223344-5566-7788-99aa-bbccddeeff00},MJ:3,MN:-1");
}

// Texts of the bus for a GUID, in their order; no more than these are had.
std::vector<std::string> guid_texts;
char* next_guid_text(const GUID*) {
    if (guid_texts.empty()) {
        return nullptr;
    }
    const std::string text = guid_texts.front();
    guid_texts.erase(guid_texts.begin());
    auto* const block = static_cast<char*>(_ZtAlloc(text.size() + 1));
    std::memcpy(block, text.c_str(), text.size() + 1);
    return block;
}

TEST_F(Provider, DescriptorOfIdsThatHaveNoText) {
    const support::Interposer texts(GetModuleHandleW(nullptr), "ZtGUIDToString", next_guid_text);
    for (const std::size_t had : {0u, 1u}) {
        SCOPED_TRACE(had);
        guid_texts.assign(had, "text");
        EXPECT_EQ(bus_test::thrown_by([&] {
                      std::ignore = farlo::FormatMethodDescriptor(object_id, interface_guid, 3, 4);
                  }),
                  0xc1000102u);
    }
}

// A descriptor has room for 255 characters.
TEST_F(Provider, DescriptorThatDoesNotFit) {
    const support::Interposer texts(GetModuleHandleW(nullptr), "ZtGUIDToString", next_guid_text);
    const auto describe = [](std::size_t length) {
        guid_texts = {std::string(length, 'o'), ""};
        return farlo::FormatMethodDescriptor(object_id, interface_guid, 3, 4);
    };
    const std::string rest = ",INTF:,MJ:3,MN:4";
    const std::size_t room = 255 - rest.size() - 4;
    EXPECT_EQ(describe(room), "OBJ:" + std::string(room, 'o') + rest);
    for (const std::size_t length : {room + 1, room + 2, room + 300}) {
        SCOPED_TRACE(length);
        EXPECT_EQ(bus_test::thrown_by([&] { describe(length); }), 0xc1000101u);
    }
}

}  // namespace
