// FFUpdateMountPath, and the search for a volume by any of its names.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"
#include "support/method_results.h"

namespace {

using namespace support;

class FFUpdateMountPath : public FarloTest {
  protected:
    // "F" is the letter of the second volume and the name of the third.
    FFUpdateMountPath() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "volumes": [
                {"name": "one", "device": "\\Device\\one", "drive_letter": "E"},
                {"name": "two", "device": "\\Device\\two", "drive_letter": "F"},
                {"name": "F", "device": "\\Device\\three", "drive_letter": "G"}]}]})";
    }

    std::uint32_t update(const wchar_t* volume) {
        return FARLO(FFUpdateMountPathW)(handle, volume);
    }

    // The service does nothing and returns success.
    const FaultRule update_succeeds{.method = method::update_mount_path, .returns = bus_success};
};

std::string update_call(const std::string& volume, std::uint32_t status) {
    return invoke(volume, method::update_mount_path, R"("UpdateMountPath": UINT32 1)", status);
}

// Lines of the recorder: all volumes are listed, all names of one volume are read.
const Lines list_volumes{objects(object_type::volume, "@one @two @F")};
Lines read_names(const std::string& volume, const std::string& device, const std::string& letter) {
    return {read(volume, "Name", wstr(volume)), read(volume, "DEVICE NAME", wstr(device)),
            read(volume, "DRIVE LETTER", wstr(letter))};
}
const Lines read_names_of_first = read_names("one", R"(\\Device\\one)", "E");
const Lines read_names_of_second = read_names("two", R"(\\Device\\two)", "F");
const Lines read_names_of_third = read_names("F", R"(\\Device\\three)", "G");
const Expected entering{6, "Entering FFUpdateMountPath"};
const Expected exiting{6, "Exiting FFUpdateMountPath"};

TEST_F(FFUpdateMountPath, FindsVolumeByNameInAnyCase) {
    at_every_threshold([&] {
        set_faults(fault_plan({update_succeeds}));
        EXPECT_EQ(update(L"TWO"), FARLO_SUCCESS);
        expect_calls(list_volumes + read_names_of_first +
                     Lines{read("two", "Name", wstr("two")), update_call("two", bus_success)});
        expect_log({entering, exiting});
    });
}

TEST_F(FFUpdateMountPath, FindsVolumeByDeviceNameInAnyCase) {
    once([&] {
        set_faults(fault_plan({update_succeeds}));
        EXPECT_EQ(update(L"\\DEVICE\\Three"), FARLO_SUCCESS);
        expect_calls(list_volumes + read_names_of_first + read_names_of_second +
                     Lines{read("F", "Name", wstr("F")),
                           read("F", "DEVICE NAME", wstr(R"(\\Device\\three)")),
                           update_call("F", bus_success)});
    });
}

// A letter of an earlier volume wins over the name of a later one.
TEST_F(FFUpdateMountPath, ComparesAllNamesOfVolumeBeforeNextVolume) {
    once([&] {
        set_faults(fault_plan({update_succeeds}));
        EXPECT_EQ(update(L"f"), FARLO_SUCCESS);
        expect_calls(list_volumes + read_names_of_first + read_names_of_second +
                     Lines{update_call("two", bus_success)});
    });
}

TEST_F(FFUpdateMountPath, SkipsNamesThatCannotBeRead) {
    once([&] {
        set_faults(
            fault_plan({failing(reading("two", "Name"), bus_no_property),
                        with_type(reading("two", "DEVICE NAME"), "STR"),
                        lying(reading("one", "DRIVE LETTER"), "unterminated"), update_succeeds}));
        EXPECT_EQ(update(L"F"), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{update_call("two", bus_success)}));
    });
}

TEST_F(FFUpdateMountPath, FailsForUnknownVolume) {
    at_every_threshold([&] {
        EXPECT_EQ(update(L"four"), FARLO_PROVIDER_FAILED);
        expect_calls(list_volumes + read_names_of_first + read_names_of_second +
                     read_names_of_third);
        expect_log({entering,
                    {0, "FFUpdateMountPath: FindVolIdByDLorDevName - failed to find volume  four"},
                    exiting});
    });
}

TEST_F(FFUpdateMountPath, FailsWhenVolumesCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.type = object_type::volume, .returns = bus_no_memory}}));
        EXPECT_EQ(update(L"one"), FARLO_PROVIDER_FAILED);
        expect_calls({objects_failed(object_type::volume, bus_no_memory)});
        expect_log({entering,
                    {0, "FFUpdateMountPath: FindVolIdByDLorDevName - failed to find volume  one"},
                    exiting});
    });
}

TEST_F(FFUpdateMountPath, ReturnsNotConnectedWithoutConnection) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(update(L"one"), FARLO_NOT_CONNECTED);
        EXPECT_EQ(update(nullptr), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({entering, exiting, entering, exiting});
    });
}

TEST_F(FFUpdateMountPath, FailsForNullName) {
    at_every_threshold([&] {
        EXPECT_EQ(update(nullptr), FARLO_PROVIDER_FAILED);
        expect_calls({});
        expect_log({entering, exiting});
    });
}

TEST_F(FFUpdateMountPath, RejectsNullHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(FFUpdateMountPathW)(nullptr, L"one"), FARLO_NULL_HANDLE);
        expect_log({entering, {0, "FFUpdateMountPathW() failed , NULL opal_handle"}, exiting});
    });
}

TEST_F(FFUpdateMountPath, ReturnsStatusOfService) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {{.method = method::update_mount_path, .returns = unknown_service_failure}}));
        EXPECT_EQ(update(L"one"), unknown_service_failure);
        expect_log({entering,
                    {0, "FFUpdateMountPath: MISCOP_UPDATE_MOUNTPATH, PrCallDispatch failed with "
                        "error = 0xe5150199."},
                    exiting});
    });
}

TEST_F(FFUpdateMountPath, LogsInformationalStatusAsFailure) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.method = method::update_mount_path, .returns = bus_same_value}}));
        EXPECT_EQ(update(L"one"), bus_same_value);
        expect_log({entering,
                    {0, "FFUpdateMountPath: MISCOP_UPDATE_MOUNTPATH, PrCallDispatch failed with "
                        "error = 0x41000012."},
                    exiting});
    });
}

// The failure is not logged.
TEST_F(FFUpdateMountPath, CallsMethodWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {no_output_set,
             {.method = method::update_mount_path, .returns = unknown_service_failure}}));
        EXPECT_EQ(update(L"one"), unknown_service_failure);
        expect_log({entering, exiting});
    });
}

TEST_F(FFUpdateMountPath, FailsWhenParameterCannotBeAdded) {
    at_every_threshold([&] {
        for (const FaultRule& fault :
             {no_input_set, failing(adding("UpdateMountPath"), bus_no_memory)}) {
            SCOPED_TRACE(fault_plan({fault}));
            set_faults(fault_plan({fault}));
            start_watching();
            EXPECT_EQ(update(L"one"), FARLO_EXCEPTION);
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
            expect_log({entering, {6, "API_TRY_CATCH_FAILED "}, exiting});
        }
    });
}

TEST_F(FFUpdateMountPath, ReturnsNotConnectedWhenConnectionDropsDuringUpdate) {
    at_every_threshold([&] {
        set_faults(fault_plan({update_succeeds}));
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(update(L"one"), FARLO_NOT_CONNECTED);
        expect_log({entering, exiting});
    });
}

TEST_F(FFUpdateMountPath, AcceptsNarrowNameButNotNullOrMoreThan259Characters) {
    at_every_threshold([&] {
        set_faults(fault_plan({update_succeeds}));
        EXPECT_EQ(FARLO(FFUpdateMountPathA)(handle, "Two"), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{update_call("two", bus_success)}));
        start_watching();
        EXPECT_EQ(FARLO(FFUpdateMountPathA)(handle, nullptr), FARLO_PROVIDER_FAILED);
        expect_log({entering, exiting});
        start_watching();
        EXPECT_EQ(FARLO(FFUpdateMountPathA)(handle, std::string(260, 'n').c_str()),
                  FARLO_INVALID_ARGUMENT);
        expect_log({{0, "FFUpdateMountPathA() failed , name string of more than 259 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

TEST_F(FFUpdateMountPath, AcceptsNarrowNameOf259Characters) {
    const std::string longest(259, 'n');
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "guid-1", "volumes": [
        {"name": "one", "device": ")" +
               longest + R"("}]}]})";
    once([&] {
        set_faults(fault_plan({update_succeeds}));
        EXPECT_EQ(FARLO(FFUpdateMountPathA)(handle, longest.c_str()), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{update_call("one", bus_success)}));
    });
}

TEST_F(FFUpdateMountPath, FailsCleanlyWhenAnyAllocationFails) {
    const auto run = [&](auto update_volume) {
        const auto results = statuses_at_every_allocation([&] {
            set_faults(fault_plan({update_succeeds}));
            return update_volume();
        });
        // A volume whose names cannot be read is not found.
        EXPECT_THAT(results, testing::Each(testing::AnyOf(FARLO_PROVIDER_FAILED, FARLO_EXCEPTION)));
        EXPECT_THAT(results, testing::Contains(FARLO_EXCEPTION));
    };
    run([&] { return update(L"one"); });
    run([&] { return FARLO(FFUpdateMountPathA)(handle, "one"); });
}

}  // namespace
