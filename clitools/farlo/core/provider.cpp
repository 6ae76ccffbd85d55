#include "core/provider.h"

#include "bus/property_set.h"
#include "bus/trace.h"
#include "core/method_descriptor.h"

#include <algorithm>
#include <iterator>

namespace farlo {
namespace {
constexpr std::uint32_t thread_poll_ms = 50;
constexpr std::uint32_t thread_limit_ms = 60'000;

// Removes an object from a list and returns its owner, or null when it is not there.
std::unique_ptr<CZtCustomObject> take(std::vector<std::unique_ptr<CZtCustomObject>>& objects,
                                      const CZtCustomObject* object) {
    const auto found = std::find_if(objects.begin(), objects.end(),
                                    [object](const auto& owner) { return owner.get() == object; });
    if (found == objects.end()) {
        return nullptr;
    }
    std::unique_ptr<CZtCustomObject> owner = std::move(*found);
    objects.erase(found);
    return owner;
}
}  // namespace

ProviderRuntime provider_runtime;

// ------------------------------------------------------------------ threads

void CZtThreadContainer::Add(CZtThread& thread) {
    const ZtHold hold(m_lock);
    m_threads.push_back(&thread);
}

bool CZtThreadContainer::all_done() {
    const ZtHold hold(m_lock);
    return std::all_of(m_threads.begin(), m_threads.end(),
                       [](const CZtThread* thread) { return thread->IsDone(); });
}

void CZtThreadContainer::Shutdown() {
    {
        const ZtHold hold(m_lock);
        for (CZtThread* thread : m_threads) {
            thread->AskToStop();
        }
    }
    for (std::uint32_t waited = 0; !all_done(); waited += thread_poll_ms) {
        if (waited >= thread_limit_ms) {
            ZtTrace(trace_level_runtime,
                    "%S: TIMEOUT_ERROR: All threads did not complete before the specified "
                    "timeout.",
                    provider_name);
            return;
        }
        ZtSleep(thread_poll_ms);
    }
}

// ----------------------------------------------------------- custom objects

void CZtCustomObjectContainer::Add(std::unique_ptr<CZtCustomObject> object) {
    const ZtHold hold(m_lock);
    m_objects.push_back(std::move(object));
}

std::unique_ptr<CZtCustomObject> CZtCustomObjectContainer::Remove(const CZtCustomObject* object) {
    const ZtHold hold(m_lock);
    return take(m_objects, object);
}

void CZtCustomObjectContainer::LazyDelete(const CZtCustomObject* object) {
    const ZtHold hold(m_lock);
    m_deleted.reserve(m_deleted.size() + 1);
    if (auto owner = take(m_objects, object)) {
        m_deleted.push_back(std::move(owner));
    }
}

void CZtCustomObjectContainer::Shutdown() {
    const ZtHold hold(m_lock);
    m_deleted.clear();
    m_objects.clear();
}

// ------------------------------------------------------------------ controls

std::uint32_t CZtControlManager::Dispatch(const opal_objid& object, const GUID& interface_id,
                                          std::uint32_t major, std::uint32_t minor) {
    ZtTrace(trace_level_runtime, "%S: no control for %s", provider_name,
            FormatMethodDescriptor(object, interface_id, major, minor).c_str());
    return ZTERROR_UNKNOWN_METHOD;
}

// -------------------------------------------------------------------- events

void CZtEventManager::AddListener(CZtEventListener& listener) {
    const ZtHold hold(m_lock);
    m_listeners.push_back(&listener);
}

std::uint32_t CZtEventManager::Notify(const char* name) {
    const ZtHold hold(m_lock);
    if (m_listeners.empty()) {
        return ZTERROR_NO_EVENT;
    }
    for (CZtEventListener* listener : m_listeners) {
        listener->OnEvent(name);
    }
    return ZTSTATUS_OK;
}

void CZtEventManager::Shutdown() {
    const ZtHold hold(m_lock);
    m_listeners.clear();
}

// ------------------------------------------------------------------ provider

void CZtProvider::Initialize() {
    if (m_threads == nullptr) {
        m_threads = std::make_unique<CZtThreadContainer>();
    }
    if (m_custom_objects == nullptr) {
        m_custom_objects = std::make_unique<CZtCustomObjectContainer>();
    }
    if (m_controls == nullptr) {
        m_controls = std::make_unique<CZtControlManager>();
    }
    if (m_events == nullptr) {
        m_events = std::make_unique<CZtEventManager>();
    }
}

CZtProvider::~CZtProvider() {
    __ZtApiShutdown();
}

// Skips the components that an interrupted initialisation has not made.
void CZtProvider::__ZtApiShutdown() {
    if (m_threads != nullptr) {
        m_threads->Shutdown();
    }
    ZtTrace(trace_level_runtime, "%S::__ZtApiShutdown(), CZtThreadContainer shutdown completed.",
            m_name);
    if (m_custom_objects != nullptr) {
        m_custom_objects->Shutdown();
    }
    ZtTrace(trace_level_runtime,
            "%S::__ZtApiShutdown(), CZtCustomObjectContainer shutdown completed.", m_name);
    if (m_controls != nullptr) {
        m_controls->Shutdown();
    }
    ZtTrace(trace_level_runtime, "%S::__ZtApiShutdown(), CZtControlManager shutdown completed.",
            m_name);
    if (m_events != nullptr) {
        m_events->Shutdown();
    }
    ZtTrace(trace_level_runtime, "%S::__ZtApiShutdown(), CZtEventManager shutdown completed.",
            m_name);
}

// ------------------------------------------------------------------- runtime

ProviderRuntime::~ProviderRuntime() {
    m_shutting_down = true;
    m_provider.reset();
}

std::uint32_t ProviderRuntime::start(const ConnectionPair& pair) noexcept {
    if (m_shutting_down) {
        return ZTERROR_SHUTTING_DOWN;
    }
    try {
        if (m_provider == nullptr) {
            m_provider = std::make_unique<CZtProvider>(provider_name);
        }
        m_current_connection = pair;
        m_started = true;
        m_provider->Initialize();
    } catch (...) {
        m_started = false;
        ZtTrace(trace_level_runtime,
                "%S: ERROR: An exception was thrown in [%S] CZtProvider::Initialize()",
                provider_name, provider_name);
        return ZTERROR_PROVIDER;
    }
    return ZTSTATUS_OK;
}

}  // namespace farlo
