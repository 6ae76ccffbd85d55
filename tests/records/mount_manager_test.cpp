// What the library makes of the mount-point manager's answers, seen through the
// drive letter of a light record.
#include "fake_mount_manager.h"
#include "record_test.h"

namespace {

using namespace records;

constexpr std::uint32_t record_size = 8 + volume_size;

class MountManagerAnswers : public RecordTest {
  protected:
    MountManagerAnswers() { set_device("dev"); }

    void set_device(const std::string& device) {
        scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
            {"name": "v", "device": ")" +
                   device + R"("}]}]})";
    }

    // The letter that the record holds for the volume.
    std::wstring letter() {
        GuardedBuffer record(record_size);
        std::memset(record.data(), 0, record_size);
        std::uint32_t size = record_size;
        EXPECT_EQ(FARLO(GetDgVolPropertiesW)(handle, L"dg", nullptr, record.as<DgVolInfo>(), &size),
                  0u);
        wchar_t text[4] = {};
        std::memcpy(text, record.data() + 4 + 520, 6);
        return text;
    }
    // With that answer of the mount-point manager.
    std::wstring letter_of(const std::vector<std::uint8_t>& answer) {
        MountManager manager(dll().module());
        manager.answer = answer;
        const std::wstring found = letter();
        EXPECT_EQ(manager.faults, Lines{});
        EXPECT_EQ(manager.lines, (Lines{"open", "ask dev", "close"}));
        return found;
    }
};

const std::wstring f = L"\\DosDevices\\F:";
const std::wstring g = L"\\DosDevices\\G:";

TEST_F(MountManagerAnswers, TheFirstLinkThatContainsTheTextCounts) {
    once([&] {
        EXPECT_EQ(letter_of(mount_answer({{L"\\??\\Volume{1}", {}, {}}, {f, {}, {}}, {g, {}, {}}})),
                  L"F:");
        EXPECT_EQ(letter_of(mount_answer({{L"prefix" + g, {}, {}}})), L"G:");
        EXPECT_EQ(letter_of(mount_answer({{L"\\dosdevices\\F:", {}, {}}})), L"");
        EXPECT_EQ(letter_of(mount_answer({})), L"");
        EXPECT_EQ(letter_of(mount_answer({{L"", {}, {}}, {f, {}, {}}})), L"F:");
        EXPECT_EQ(letter_of(mount_answer({{L"\\DosDevices\\", {}, {}}})), L"");
        EXPECT_EQ(letter_of(mount_answer({{L"\\DosDevices\\0:", {}, {}}})), L"");
    });
}

// The manager is not even opened.
TEST_F(MountManagerAnswers, NothingIsAskedForAnEmptyDeviceName) {
    set_device("");
    once([&] {
        MountManager manager(dll().module());
        manager.answer = mount_answer({{f, {}, {}}});
        EXPECT_EQ(letter(), L"");
        EXPECT_EQ(manager.lines, Lines{});
    });
}

// A name is as long as its entry says: no terminator follows.
TEST_F(MountManagerAnswers, NamesEndWhereTheirEntriesSay) {
    once([&] {
        EXPECT_EQ(letter_of(mount_answer({{f, {}, 24}})), L"");
        EXPECT_EQ(letter_of(mount_answer({{f, {}, 26}})), L"F:");
        EXPECT_EQ(letter_of(mount_answer({{f, {}, 27}})), L"F:");
        EXPECT_EQ(letter_of(mount_answer({{f, {}, 20}, {g, {}, {}}})), L"G:");
    });
}

// What stands beyond the bytes that were returned is no part of the answer.
TEST_F(MountManagerAnswers, EntriesThatLeadOutsideArePassedOver) {
    once([&] {
        const std::uint32_t end = 8 + 24 + 1 + 28;
        EXPECT_EQ(letter_of(mount_answer({{f, end - 28, 28}})), L"F:");
        EXPECT_EQ(letter_of(mount_answer({{f, end - 27, 28}})), L"");
        EXPECT_EQ(letter_of(mount_answer({{f, end, 28}})), L"");
        EXPECT_EQ(letter_of(mount_answer({{f, end + 1, 0}})), L"");
        EXPECT_EQ(letter_of(mount_answer({{f, 8192, 28}})), L"");
        EXPECT_EQ(letter_of(mount_answer({{f, 0xFFFFFFFF, 28}})), L"");
        EXPECT_EQ(letter_of(mount_answer({{f, 0xFFFFFFF0, 0xFFFF}})), L"");
        EXPECT_EQ(letter_of(mount_answer({{L"x", 8192, 28}, {g, {}, {}}})), L"G:");
        // More entries than there are, fewer than there are.
        EXPECT_EQ(letter_of(mount_answer({{f, {}, {}}}, 0xFFFFFFFF)), L"F:");
        EXPECT_EQ(letter_of(mount_answer({{L"x", {}, {}}}, 0xFFFFFFFF)), L"");
        EXPECT_EQ(letter_of(mount_answer({{L"x", {}, {}}, {f, {}, {}}}, 1)), L"");
        EXPECT_EQ(letter_of(mount_answer({{f, {}, {}}}, 0)), L"");
        // An answer without a whole head, or a whole entry.
        EXPECT_EQ(letter_of({}), L"");
        EXPECT_EQ(letter_of(std::vector<std::uint8_t>(7, 1)), L"");
        EXPECT_EQ(letter_of(std::vector<std::uint8_t>(31, 1)), L"");
    });
}

TEST_F(MountManagerAnswers, NamesOfMoreThan259CharactersArePassedOver) {
    once([&] {
        const std::wstring fits = f + std::wstring(259 - f.size(), L'x');
        EXPECT_EQ(letter_of(mount_answer({{fits, {}, {}}, {g, {}, {}}})), L"F:");
        EXPECT_EQ(letter_of(mount_answer({{fits + L'x', {}, {}}, {g, {}, {}}})), L"G:");
    });
}

TEST_F(MountManagerAnswers, DeviceNamesThatDoNotFitTheQuestionAreNotAsked) {
    for (const std::size_t length : {std::size_t{512}, std::size_t{513}}) {
        set_device(std::string(length, 'd'));
        once([&] {
            MountManager manager(dll().module());
            manager.links[std::wstring(512, L'd')] = {f};
            EXPECT_EQ(letter(), length == 512 ? L"F:" : L"");
            EXPECT_EQ(manager.faults, Lines{});
            Lines wanted = {"open", "ask " + std::string(512, 'd'), "close"};
            if (length > 512) {
                wanted.erase(wanted.begin() + 1);
            }
            EXPECT_EQ(manager.lines, wanted);
        });
    }
}

TEST_F(MountManagerAnswers, FailuresLeaveTheLetterEmptyAndNothingOpen) {
    once([&] {
        MountManager manager(dll().module());
        manager.links[L"dev"] = {f};
        manager.refuses_to_open = true;
        EXPECT_EQ(letter(), L"");
        EXPECT_EQ(manager.lines, Lines{"open"});
        manager.refuses_to_open = false;
        manager.refuses_to_answer = true;
        EXPECT_EQ(letter(), L"");
        EXPECT_EQ(manager.lines, (Lines{"open", "open", "ask dev", "close"}));
        manager.refuses_to_answer = false;
        for (const int allocation : {1, 2}) {
            manager.lines.clear();
            manager.on_open = [&] { heap().fail(allocation); };
            EXPECT_EQ(letter(), L"");
            EXPECT_EQ(manager.lines, (Lines{"open", "close"}));
        }
        heap().fail_no_more();
        manager.on_open = nullptr;
        EXPECT_EQ(letter(), L"F:");
        EXPECT_EQ(manager.faults, Lines{});
    });
}

// The lab node's own mount-point manager knows the device of drive C.
TEST_F(MountManagerAnswers, OfTheSystemItself) {
    wchar_t target[MAX_PATH];
    ASSERT_NE(QueryDosDeviceW(L"C:", target, MAX_PATH), 0u);
    std::string device;
    for (const wchar_t* at = target; *at != L'\0'; ++at) {
        device += *at == L'\\' ? "\\\\" : std::string(1, static_cast<char>(*at));
    }
    for (const bool known : {true, false}) {
        set_device(known ? device : device + "9");
        once([&] {
            EXPECT_EQ(letter(), known ? L"C:" : L"");
            GuardedBuffer records(volume_size);
            std::uint32_t count = 1;
            EXPECT_EQ(FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, records.as<VolInfo>(),
                                                    &count),
                      0u);
            EXPECT_EQ(count, known ? 0u : 1u);
        });
    }
}

}  // namespace
