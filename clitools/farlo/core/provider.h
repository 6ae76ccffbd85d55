// The provider runtime that every new connection starts.
//
// No operation of the library uses its components. They are for providers that are
// built into the agent's process, which rely on the order of their shutdown.
#pragma once

#include "bus/object.h"
#include "ztbus3.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace farlo {

// Guards a component's list.
class ZtLock {
  public:
    ZtLock() { ZtInitializeCriticalSection(&m_section); }
    ~ZtLock() { ZtDeleteCriticalSection(&m_section); }
    ZtLock(const ZtLock&) = delete;
    ZtLock& operator=(const ZtLock&) = delete;

    void enter() { ZtEnterCriticalSection(&m_section); }
    void leave() { ZtLeaveCriticalSection(&m_section); }

  private:
    CRITICAL_SECTION m_section;
};

class ZtHold {
  public:
    explicit ZtHold(ZtLock& lock) : m_lock(lock) { m_lock.enter(); }
    ~ZtHold() { m_lock.leave(); }
    ZtHold(const ZtHold&) = delete;
    ZtHold& operator=(const ZtHold&) = delete;

  private:
    ZtLock& m_lock;
};

// A thread of a provider. Must live until the container's shutdown has ended.
class CZtThread {
  public:
    virtual ~CZtThread() = default;
    virtual void AskToStop() = 0;
    virtual bool IsDone() const = 0;
};

class CZtThreadContainer {
  public:
    void Add(CZtThread& thread);
    // Asks every thread to stop and polls until all have, 60 s at most.
    void Shutdown();

  private:
    bool all_done();

    ZtLock m_lock;
    std::vector<CZtThread*> m_threads;
};

class CZtCustomObject {
  public:
    virtual ~CZtCustomObject() = default;
};

class CZtCustomObjectContainer {
  public:
    void Add(std::unique_ptr<CZtCustomObject> object);
    // Removes an object and returns it; null when it is not there.
    std::unique_ptr<CZtCustomObject> Remove(const CZtCustomObject* object);
    // Removes an object and destroys it at shutdown, not before, because others may
    // still refer to it.
    void LazyDelete(const CZtCustomObject* object);
    void Shutdown();

  private:
    ZtLock m_lock;
    std::vector<std::unique_ptr<CZtCustomObject>> m_objects;
    std::vector<std::unique_ptr<CZtCustomObject>> m_deleted;
};

class CZtControlManager {
  public:
    // No control is registered in this process: traces the call and returns
    // ZTERROR_UNKNOWN_METHOD.
    [[nodiscard]] std::uint32_t Dispatch(const opal_objid& object, const GUID& interface_id,
                                         std::uint32_t major, std::uint32_t minor);
    void Shutdown() {}
};

class CZtEventListener {
  public:
    virtual ~CZtEventListener() = default;
    virtual void OnEvent(const char* name) = 0;
};

class CZtEventManager {
  public:
    void AddListener(CZtEventListener& listener);
    // Returns ZTERROR_NO_EVENT when there is no listener.
    [[nodiscard]] std::uint32_t Notify(const char* name);
    void Shutdown();

  private:
    ZtLock m_lock;
    std::vector<CZtEventListener*> m_listeners;
};

class CZtProvider {
  public:
    explicit CZtProvider(const wchar_t* name) : m_name(name) {}
    ~CZtProvider();
    CZtProvider(const CZtProvider&) = delete;
    CZtProvider& operator=(const CZtProvider&) = delete;

    // Makes the components that do not exist yet. Throws what a constructor throws.
    void Initialize();

    const wchar_t* name() const { return m_name; }
    CZtThreadContainer* threads() { return m_threads.get(); }
    CZtCustomObjectContainer* custom_objects() { return m_custom_objects.get(); }
    CZtControlManager* controls() { return m_controls.get(); }
    CZtEventManager* events() { return m_events.get(); }

  private:
    void __ZtApiShutdown();

    const wchar_t* m_name;
    std::unique_ptr<CZtThreadContainer> m_threads;
    std::unique_ptr<CZtCustomObjectContainer> m_custom_objects;
    std::unique_ptr<CZtControlManager> m_controls;
    std::unique_ptr<CZtEventManager> m_events;
};

// The runtime of the process. Its provider is destroyed when the library is
// unloaded.
class ProviderRuntime {
  public:
    ~ProviderRuntime();

    // Starts the provider for a connection. Returns 0, ZTERROR_SHUTTING_DOWN, or
    // ZTERROR_PROVIDER when its initialisation threw.
    [[nodiscard]] std::uint32_t start(const ConnectionPair& pair) noexcept;

    bool started() const { return m_started; }
    // The pair of the last new connection that a validation made.
    const ConnectionPair& current_connection() const { return m_current_connection; }
    CZtProvider* provider() { return m_provider.get(); }

  private:
    bool m_shutting_down = false;
    bool m_started = false;
    ConnectionPair m_current_connection;
    std::unique_ptr<CZtProvider> m_provider;
};

extern ProviderRuntime provider_runtime;

}  // namespace farlo
