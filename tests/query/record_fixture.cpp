#include "query/record_fixture.h"

#include <cstring>

namespace records {
namespace {

constexpr GUID mount_point_methods = {
    0x2F0EAFCD, 0x7B86, 0x4F9B, {0xBD, 0x98, 0xD6, 0x1C, 0xE4, 0x21, 0x1F, 0x8F}};

void add(opal_propset set, const char* name, std::uint32_t type, std::uint32_t count,
         const void* value, std::size_t size) {
    const opal_property property{name, type, count, static_cast<std::uint32_t>(size), value};
    EXPECT_EQ(PsAddProperty(set, &property), bus_success);
}

opal_objid id_of(const std::string& name) {
    opal_objid id{};
    EXPECT_EQ(LabFindObject(name.c_str(), &id), 0) << name;
    return id;
}

}  // namespace

ManyVolumes::ManyVolumes(HMODULE module, std::uint32_t count)
    : m_children(module, "ObGetChildObjects",
                 [this, count](opal_connection connection, opal_context context,
                               const opal_objid* object, const char* type, opal_objid** ids,
                               std::uint32_t* found) {
                     if (std::strcmp(type, object_type::volume) != 0) {
                         return m_children.real(connection, context, object, type, ids, found);
                     }
                     *ids = static_cast<opal_objid*>(_ZtAlloc(count * sizeof(opal_objid)));
                     *found = count;
                     return opal_status{bus_success};
                 }) {}

void RecordTest::at_every_threshold(const std::function<void()>& body) {
    FarloTest::at_every_threshold([&] { run_with_mounts(body); });
}

void RecordTest::once(const std::function<void()>& body) {
    FarloTest::once([&] { run_with_mounts(body); });
}

void RecordTest::at_every_allocation(const std::function<void()>& body) {
    FarloTest::at_every_allocation([&] { run_with_mounts(body); });
}

void RecordTest::expect_survives_allocation_failures(
    const Image& expected, const std::function<std::uint32_t(GuardedBuffer&)>& call,
    const std::vector<std::uint32_t>& failures) {
    std::vector<std::uint32_t> results;
    std::vector<std::string> differences;
    at_every_allocation([&] {
        GuardedBuffer record(expected.bytes().size());
        results.push_back(call(record));
        differences.push_back(record.difference(expected.bytes()));
        if (results.back() != FARLO_SUCCESS) {
            EXPECT_TRUE(record.untouched());
            return;
        }
        const std::vector<std::uint8_t> written = record.bytes();
        for (std::size_t i = 0; i < written.size(); ++i) {
            ASSERT_THAT(written[i], testing::AnyOf(expected.bytes()[i], GuardedBuffer::canary))
                << i;
        }
    });
    ASSERT_GT(results.size(), 2u);
    // No allocation fails in the first run, nor in the last.
    EXPECT_EQ(results.front(), FARLO_SUCCESS);
    EXPECT_EQ(results.back(), FARLO_SUCCESS);
    EXPECT_EQ(differences.front(), "");
    EXPECT_EQ(differences.back(), "");
    std::erase(results, FARLO_SUCCESS);
    EXPECT_THAT(results, testing::Each(testing::AnyOfArray(failures)));
    for (const std::uint32_t failure : failures) {
        EXPECT_THAT(results, testing::Contains(failure));
    }
}

void RecordTest::expect_drops_reported(const std::vector<Drop>& drops, const Image& expected,
                                       const std::uint32_t& size, std::uint32_t expected_size,
                                       const Expected& entering, const Log& closing) {
    const std::size_t record_size = expected.bytes().size();
    for (const Drop& drop : drops) {
        SCOPED_TRACE(fault_plan({drop.during}));
        at_every_threshold([&] {
            set_faults({dropping(drop.during)});
            GuardedBuffer record(record_size);
            EXPECT_EQ(drop.call(record), FARLO_NOT_CONNECTED);
            EXPECT_EQ(size, expected_size);
            EXPECT_EQ(record.difference((drop.written ? expected : Image(record_size)).bytes()),
                      "");
            expect_log(Log{entering} + drop.log + closing);
        });
    }
}

void RecordTest::set_faults(std::vector<FaultRule> rules) {
    // Of the rules for a call the first acts, so these come last.
    rules.push_back({.method = method::get_mount_points, .returns = bus_success});
    rules.push_back({.method = method::get_drive_letter, .returns = bus_success});
    FarloTest::set_faults(fault_plan(rules));
}

void RecordTest::run_with_mounts(const std::function<void()>& body) {
    set_faults({});
    const StandIn<decltype(PrCallDispatch)> dispatch(
        dll().module(), "PrCallDispatch",
        [this](opal_connection connection, const opal_objid* target, const GUID* interface_id,
               std::uint32_t major, std::uint32_t minor, opal_propset input, opal_propset output,
               std::uintptr_t r1, std::uintptr_t r2, std::uintptr_t r3, std::uintptr_t r4,
               std::uint64_t* task, std::uint64_t* result) {
            const opal_status status =
                PrCallDispatch(connection, target, interface_id, major, minor, input, output, r1,
                               r2, r3, r4, task, result);
            if (status == bus_success && IsEqualGUID(*interface_id, mount_point_methods)) {
                add_mount_results(*target, minor, output);
            }
            return status;
        });
    body();
}

void RecordTest::add_mount_results(const opal_objid& target, std::uint32_t minor,
                                   opal_propset output) {
    Mounts result;
    for (const auto& [name, of_volume] : mounts) {
        const opal_objid id = id_of(name);
        if (ObCompareId(&id, &target) == 0) {
            result = of_volume;
        }
    }
    if (minor == method::get_drive_letter.minor) {
        if (result.letter) {
            add(output, "DRIVE LETTER", TYPE_WSTR, 1, result.letter->c_str(),
                (result.letter->size() + 1) * sizeof(wchar_t));
        }
        return;
    }
    std::vector<const wchar_t*> paths;
    for (const std::wstring& path : result.paths) {
        paths.push_back(path.c_str());
    }
    std::vector<opal_objid> holders;
    for (const std::string& holder : result.holders) {
        holders.push_back(id_of(holder));
    }
    const auto count = static_cast<std::uint32_t>(paths.size());
    add(output, "ALL MOUNT POINTS ARRAY", TYPE_WSTRZ, count, paths.data(),
        paths.size() * sizeof paths[0]);
    add(output, "NUMBER OF MOUNT POINTS", TYPE_UINT32, 1, &count, sizeof count);
    add(output, "MEMBERIDZ", TYPE_ZTOBJIDZ, count, holders.data(),
        holders.size() * sizeof(opal_objid));
}

}  // namespace records
