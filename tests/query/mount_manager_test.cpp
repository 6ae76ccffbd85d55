// How the library reads responses of the mount-point manager. Tested through the drive letter in
// the record of GetDgVolProperties.
#include "query/fake_mount_manager.h"
#include "query/record_fixture.h"

namespace {

using namespace records;

constexpr std::uint32_t record_size = 8 + volume_size;
// Without a disk the volume comes right after the count.
constexpr std::size_t volume_offset = 4;

class MountPointManager : public RecordTest {
  protected:
    MountPointManager() { set_device("dev"); }

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
                  FARLO_SUCCESS);
        wchar_t field[4] = {};
        std::memcpy(field, record.data() + volume_offset + drive_letter_offset, 6);
        return field;
    }
    // The letter for this response of the mount-point manager.
    std::wstring letter_of(const std::vector<std::uint8_t>& response) {
        MountManager manager(dll().module());
        manager.response = response;
        const std::wstring found = letter();
        EXPECT_EQ(manager.errors, Lines{});
        EXPECT_EQ(manager.requests, (Lines{"open", "query dev", "close"}));
        return found;
    }
};

const std::wstring f = L"\\DosDevices\\F:";
const std::wstring g = L"\\DosDevices\\G:";

TEST_F(MountPointManager, TakesFirstLinkThatNamesDriveLetter) {
    once([&] {
        EXPECT_EQ(letter_of(mount_response({{L"\\??\\Volume{1}"}, {f}, {g}})), L"F:");
        EXPECT_EQ(letter_of(mount_response({{L"prefix" + g}})), L"G:");
        EXPECT_EQ(letter_of(mount_response({{L"\\dosdevices\\F:"}})), L"");
        EXPECT_EQ(letter_of(mount_response({})), L"");
        EXPECT_EQ(letter_of(mount_response({{L""}, {f}})), L"F:");
        EXPECT_EQ(letter_of(mount_response({{L"\\DosDevices\\"}})), L"");
        EXPECT_EQ(letter_of(mount_response({{L"\\DosDevices\\0:"}})), L"");
    });
}

TEST_F(MountPointManager, IsNotOpenedForEmptyDeviceName) {
    set_device("");
    once([&] {
        MountManager manager(dll().module());
        manager.response = mount_response({{f}});
        EXPECT_EQ(letter(), L"");
        EXPECT_EQ(manager.requests, Lines{});
    });
}

// A name has no terminator. Its entry holds its size in bytes.
TEST_F(MountPointManager, EndsNameAtSizeInItsEntry) {
    once([&] {
        EXPECT_EQ(letter_of(mount_response({{f, {}, 24}})), L"");
        EXPECT_EQ(letter_of(mount_response({{f, {}, 26}})), L"F:");
        EXPECT_EQ(letter_of(mount_response({{f, {}, 27}})), L"F:");
        EXPECT_EQ(letter_of(mount_response({{f, {}, 20}, {g}})), L"G:");
    });
}

// Bytes beyond the returned size are not part of the response.
TEST_F(MountPointManager, SkipsEntriesOutsideResponse) {
    once([&] {
        const std::uint32_t end = 8 + 24 + 1 + 28;
        EXPECT_EQ(letter_of(mount_response({{f, end - 28, 28}})), L"F:");
        EXPECT_EQ(letter_of(mount_response({{f, end - 27, 28}})), L"");
        EXPECT_EQ(letter_of(mount_response({{f, end, 28}})), L"");
        EXPECT_EQ(letter_of(mount_response({{f, end + 1, 0}})), L"");
        EXPECT_EQ(letter_of(mount_response({{f, 8192, 28}})), L"");
        EXPECT_EQ(letter_of(mount_response({{f, 0xFFFFFFFF, 28}})), L"");
        EXPECT_EQ(letter_of(mount_response({{f, 0xFFFFFFF0, 0xFFFF}})), L"");
        EXPECT_EQ(letter_of(mount_response({{L"x", 8192, 28}, {g}})), L"G:");
        // The number of entries is too large, or too small.
        EXPECT_EQ(letter_of(mount_response({{f}}, 0xFFFFFFFF)), L"F:");
        EXPECT_EQ(letter_of(mount_response({{L"x"}}, 0xFFFFFFFF)), L"");
        EXPECT_EQ(letter_of(mount_response({{L"x"}, {f}}, 1)), L"");
        EXPECT_EQ(letter_of(mount_response({{f}}, 0)), L"");
        // The response ends within its header, or within its first entry.
        EXPECT_EQ(letter_of({}), L"");
        EXPECT_EQ(letter_of(std::vector<std::uint8_t>(7, 1)), L"");
        EXPECT_EQ(letter_of(std::vector<std::uint8_t>(31, 1)), L"");
    });
}

TEST_F(MountPointManager, SkipsNamesOfMoreThan259Characters) {
    once([&] {
        const std::wstring fits = f + std::wstring(259 - f.size(), L'x');
        EXPECT_EQ(letter_of(mount_response({{fits}, {g}})), L"F:");
        EXPECT_EQ(letter_of(mount_response({{fits + L'x'}, {g}})), L"G:");
    });
}

TEST_F(MountPointManager, SendsNoQueryForDeviceNameThatDoesNotFit) {
    for (const std::size_t length : {std::size_t{512}, std::size_t{513}}) {
        set_device(std::string(length, 'd'));
        once([&] {
            MountManager manager(dll().module());
            manager.links[std::wstring(512, L'd')] = {f};
            EXPECT_EQ(letter(), length == 512 ? L"F:" : L"");
            EXPECT_EQ(manager.errors, Lines{});
            Lines wanted = {"open", "query " + std::string(512, 'd'), "close"};
            if (length > 512) {
                wanted.erase(wanted.begin() + 1);
            }
            EXPECT_EQ(manager.requests, wanted);
        });
    }
}

TEST_F(MountPointManager, LeavesLetterEmptyAndClosesHandleAfterFailure) {
    once([&] {
        MountManager manager(dll().module());
        manager.links[L"dev"] = {f};
        manager.open_fails = true;
        EXPECT_EQ(letter(), L"");
        EXPECT_EQ(manager.requests, Lines{"open"});
        manager.open_fails = false;
        manager.query_fails = true;
        EXPECT_EQ(letter(), L"");
        EXPECT_EQ(manager.requests, (Lines{"open", "open", "query dev", "close"}));
        manager.query_fails = false;
        for (const int allocation : {1, 2}) {
            manager.requests.clear();
            manager.on_open = [&] { heap().fail(allocation); };
            EXPECT_EQ(letter(), L"");
            EXPECT_EQ(manager.requests, (Lines{"open", "close"}));
        }
        heap().fail_no_more();
        manager.on_open = nullptr;
        EXPECT_EQ(letter(), L"F:");
        EXPECT_EQ(manager.errors, Lines{});
    });
}

// The mount-point manager is not replaced here; it knows the device of drive C.
TEST_F(MountPointManager, FindsDriveLetterThroughSystem) {
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
                      FARLO_SUCCESS);
            EXPECT_EQ(count, known ? 0u : 1u);
        });
    }
}

}  // namespace
