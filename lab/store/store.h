// The lab's storage as a service: a model behind a lock, and the alerts of what
// is done to it.
#pragma once

#include "locks.h"
#include "model.h"
#include "service.h"

#include <string>
#include <vector>

namespace lab {

class Store : public Service {
  public:
    // Milliseconds, from any beginning.
    using Clock = ULONGLONG(WINAPI*)();

    explicit Store(Model model, Clock clock = GetTickCount64)
        : m_model(std::move(model)), m_clock(clock) {}

    opal_status get_property(const opal_objid& object, const std::string& name,
                             Value& value) override;
    opal_status set_property(const opal_objid& object, const Property& property) override;
    opal_status get_properties(const opal_objid& object, PropertySet& properties) override;
    opal_status get_type(const opal_objid& object, std::string& type) override;
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

    // The id of the scenario's object of that name, hidden or not; false when
    // there is none.
    bool find_named(const std::string& name, opal_objid& id);
    // Sends an alert to the sink.
    void raise_alert(const std::string& name);

    // Is told of every change, in order, under the store's lock: it must not call
    // the store. First it is told of all disk groups and volumes that there are.
    // An empty function ends it.
    using ChangeSink = std::function<void(Model& model, const std::vector<opal_objid>& changed)>;
    void set_change_sink(ChangeSink sink);
    // Changes the storage as no client does.
    void change(const std::function<void(Model& model)>& work);

  private:
    // Ends what the node was at, when its time has come.
    void settle();
    void report_changes();
    // The object that clients know by that id; nullptr and a status otherwise.
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

}  // namespace lab
