#include "record_test.h"

#include <cstring>

namespace records {
namespace {

constexpr GUID mount_manager = {
    0x2F0EAFCD, 0x7B86, 0x4F9B, {0xBD, 0x98, 0xD6, 0x1C, 0xE4, 0x21, 0x1F, 0x8F}};

void add(opal_propset set, const char* name, std::uint32_t type, std::uint32_t count,
         const void* value, std::size_t size) {
    const opal_property property{name, type, count, static_cast<std::uint32_t>(size), value};
    EXPECT_EQ(PsAddProperty(set, &property), 0u);
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
                     if (std::strcmp(type, "tamo_ztvm_volume") != 0) {
                         return m_children.real(connection, context, object, type, ids, found);
                     }
                     *ids = static_cast<opal_objid*>(_ZtAlloc(count * sizeof(opal_objid)));
                     *found = count;
                     return opal_status{0};
                 }) {}

void RecordTest::at_every_threshold(const std::function<void()>& body) {
    FarloTest::at_every_threshold([&] { run_answered(body); });
}

void RecordTest::once(const std::function<void()>& body) {
    FarloTest::once([&] { run_answered(body); });
}

void RecordTest::at_every_allocation(const std::function<void()>& body) {
    FarloTest::at_every_allocation([&] { run_answered(body); });
}

void RecordTest::expect_whole_or_less(const Image& whole,
                                      const std::function<std::uint32_t(GuardedBuffer&)>& ask,
                                      const std::vector<std::uint32_t>& failures) {
    std::vector<std::uint32_t> results;
    std::vector<std::string> differences;
    at_every_allocation([&] {
        GuardedBuffer record(whole.bytes().size());
        results.push_back(ask(record));
        differences.push_back(record.difference(whole.bytes()));
        if (results.back() != 0) {
            EXPECT_TRUE(record.untouched());
            return;
        }
        const std::vector<std::uint8_t> written = record.bytes();
        for (std::size_t i = 0; i < written.size(); ++i) {
            ASSERT_THAT(written[i], testing::AnyOf(whole.bytes()[i], GuardedBuffer::canary)) << i;
        }
    });
    ASSERT_GT(results.size(), 2u);
    // None fails in the first run, nor in the last.
    EXPECT_EQ(results.front(), 0u);
    EXPECT_EQ(results.back(), 0u);
    EXPECT_EQ(differences.front(), "");
    EXPECT_EQ(differences.back(), "");
    std::erase(results, 0u);
    EXPECT_THAT(results, testing::Each(testing::AnyOfArray(failures)));
    for (const std::uint32_t failure : failures) {
        EXPECT_THAT(results, testing::Contains(failure));
    }
}

void RecordTest::expect_drops_told(const std::vector<Drop>& drops, const Image& whole,
                                   const std::uint32_t& size, std::uint32_t told,
                                   const Expected& first, const Log& closing) {
    const std::size_t record_size = whole.bytes().size();
    for (const Drop& drop : drops) {
        SCOPED_TRACE(drop.when);
        at_every_threshold([&] {
            set_rules(dropping(drop.when));
            GuardedBuffer record(record_size);
            EXPECT_EQ(drop.ask(record), 20u);
            EXPECT_EQ(size, told);
            EXPECT_EQ(record.difference((drop.written ? whole : Image(record_size)).bytes()), "");
            expect_log(Log{first} + drop.lines + closing);
        });
    }
}

void RecordTest::set_rules(const std::string& rules) {
    set_faults("[" + rules +
               R"({"minor": 8006, "status": "0x0"}, {"minor": 8007, "status": "0x0"}])");
}

void RecordTest::run_answered(const std::function<void()>& body) {
    set_rules("");
    const StandIn<decltype(PrCallDispatch)> dispatch(
        dll().module(), "PrCallDispatch",
        [this](opal_connection connection, const opal_objid* target, const GUID* interface_id,
               std::uint32_t major, std::uint32_t minor, opal_propset input, opal_propset output,
               std::uintptr_t r1, std::uintptr_t r2, std::uintptr_t r3, std::uintptr_t r4,
               std::uint64_t* task, std::uint64_t* result) {
            const opal_status status =
                PrCallDispatch(connection, target, interface_id, major, minor, input, output, r1,
                               r2, r3, r4, task, result);
            if (status == 0 && IsEqualGUID(*interface_id, mount_manager)) {
                add_answers(*target, minor, output);
            }
            return status;
        });
    body();
}

void RecordTest::add_answers(const opal_objid& target, std::uint32_t minor, opal_propset output) {
    Mounts answer;
    for (const auto& [name, of_volume] : mounts) {
        const opal_objid id = id_of(name);
        if (ObCompareId(&id, &target) == 0) {
            answer = of_volume;
        }
    }
    if (minor == 8007) {
        if (answer.letter) {
            add(output, "DRIVE LETTER", TYPE_WSTR, 1, answer.letter->c_str(),
                (answer.letter->size() + 1) * sizeof(wchar_t));
        }
        return;
    }
    std::vector<const wchar_t*> paths;
    for (const std::wstring& path : answer.paths) {
        paths.push_back(path.c_str());
    }
    std::vector<opal_objid> holders;
    for (const std::string& holder : answer.holders) {
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
