// The lab's storage as a service: a model with a lock, which raises alerts.
#pragma once

#include "store/locks.h"
#include "store/model.h"
#include "store/service.h"

#include <string>
#include <vector>

namespace lab {

class Store : public Service {
  public:
    // Returns milliseconds since any fixed time.
    using Clock = ULONGLONG(WINAPI*)();

    explicit Store(Model model, Clock clock = GetTickCount64)
        : m_model(std::move(model)), m_clock(clock) {}

    using Service::get_property;
    opal_status get_property(const opal_objid& object, const std::string& name, Value& value,
                             ResultFault& fault) override;
    opal_status set_property(const opal_objid& object, const Property& property) override;
    opal_status get_properties(const opal_objid& object, PropertySet& properties) override;
    using Service::get_type;
    opal_status get_type(const opal_objid& object, std::string& type, ResultFault& fault) override;
    opal_status get_children(const opal_objid& object, const std::string& type,
                             std::vector<opal_objid>& ids) override;
    opal_status get_parents(const opal_objid& object, const std::string& type,
                            std::vector<opal_objid>& ids) override;
    opal_status delete_object(const opal_objid& object) override;
    opal_status get_objects(const std::string& type, std::vector<opal_objid>& ids) override;
    opal_status query(const std::wstring& text, std::vector<opal_objid>& ids) override;
    opal_status invoke(const opal_objid& target, const GUID& interface_id, std::uint32_t major,
                       std::uint32_t minor, const PropertySet& input, PropertySet& output) override;
    std::string name_of(const opal_objid& object) override;
    void set_alert_sink(AlertSink sink) override;

    // Finds the object with that name in the scenario, hidden or not. Returns
    // false if there is none.
    bool find_named(const std::string& name, opal_objid& id);
    // Sends an alert to the sink.
    void raise_alert(const std::string& name);

    // Sets the function that is called for every change, in order, and first with
    // all existing disk groups and volumes. It runs under the store's lock and
    // must not call the store. An empty function ends the calls.
    using ChangeSink = std::function<void(Model& model, const std::vector<opal_objid>& changed)>;
    void set_change_sink(ChangeSink sink);
    // Reads or changes the storage directly, without a client's restrictions. What `work` throws
    // is passed on; it must not have changed anything then.
    void change(const std::function<void(Model& model)>& work);

  private:
    // Completes a start or stop of the node that is due.
    void settle();
    void report_changes();
    // Returns the object if clients may see it, else nullptr and a status.
    Object* locate(const opal_objid& id, opal_status& status);
    opal_status related(const opal_objid& object, std::vector<opal_objid> Object::*relation,
                        const std::string& type, std::vector<opal_objid>& ids);

    SRWLOCK m_lock = SRWLOCK_INIT;
    Model m_model;
    Clock m_clock;
    ChangeSink m_change_sink;
    SRWLOCK m_sink_lock = SRWLOCK_INIT;  // held while an alert is delivered
    AlertSink m_sink;
};

// The scope of a fault plan of a service with this store.
FaultScope service_scope(Store& store);

}  // namespace lab
