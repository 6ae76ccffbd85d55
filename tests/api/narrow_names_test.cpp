// The longest strings that fit the buffers of the narrow forms. Longer ones are rejected with one
// log line that names the export and the argument.
#include "support/farlo_test.h"
#include "support/log_messages.h"

#include <cstdarg>
#include <cstring>
#include <cwchar>
#include <map>

namespace {

using namespace support;

constexpr char invalid_string[] = "not valid in the code page";

// Replaces _snwprintf. Fails for `invalid_string`, as Windows does for a string that is not valid
// in the code page; Wine converts any string.
int convert(wchar_t* buffer, std::size_t capacity, const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list first;
    va_copy(first, arguments);
    const bool is_valid = std::strcmp(va_arg(first, const char*), invalid_string) != 0;
    va_end(first);
    const int length = is_valid ? _vsnwprintf(buffer, capacity, format, arguments) : -1;
    va_end(arguments);
    return length;
}

class NarrowNames : public FarloTest {
  protected:
    using Call = std::function<std::uint32_t(const char* string)>;

    struct Argument {
        std::string entry;
        std::string name;
        Call call;
    };

    static std::string rejection(const std::string& entry, const std::string& name,
                                 std::size_t limit) {
        return entry + "() failed , " + name + " string of more than " + std::to_string(limit) +
               " characters or invalid, error=(0x80070057)";
    }

    // Longer strings than `limit`, and strings that are not valid, are rejected in one line.
    void expect_limit(std::size_t limit, const Argument& argument) {
        SCOPED_TRACE(argument.entry + " " + argument.name);
        const Call& call = argument.call;
        const std::vector<std::string> rejected = {rejection(argument.entry, argument.name, limit)};
        call(std::string(limit, 't').c_str());
        EXPECT_THAT(log_messages(), testing::Not(testing::Contains(rejected.front())));
        for (const std::size_t length : {limit + 1, std::size_t{100'000}}) {
            environment().remove_logs();
            EXPECT_EQ(call(std::string(length, 't').c_str()), FARLO_INVALID_ARGUMENT);
            EXPECT_EQ(log_messages(), rejected);
        }
        environment().remove_logs();
        {
            const Interposer conversion(dll().module(), "_snwprintf", convert);
            EXPECT_EQ(call(invalid_string), FARLO_INVALID_ARGUMENT);
        }
        EXPECT_EQ(log_messages(), rejected);
        environment().remove_logs();
    }

    std::vector<Argument> names_in_operations() {
        return {
            {"OnlineDgExA", "name",
             [&](auto string) { return FARLO(OnlineDgExA)(nullptr, string, "g", nullptr, 0, 0); }},
            {"OnlineDgA", "name",
             [&](auto string) { return FARLO(OnlineDgA)(nullptr, string, "g", nullptr, 0); }},
            {"ImportDgA", "name",
             [&](auto string) { return FARLO(ImportDgA)(nullptr, string, "g", "n", 0); }},
            {"OfflineDgA", "name",
             [&](auto string) { return FARLO(OfflineDgA)(nullptr, string, "g", 0); }},
            {"DeportDgA", "name",
             [&](auto string) { return FARLO(DeportDgA)(nullptr, string, "g"); }},
            {"ArbitrateDgA", "name",
             [&](auto string) { return FARLO(ArbitrateDgA)(nullptr, string, "g"); }},
            {"StopDgReservationA", "name",
             [&](auto string) { return FARLO(StopDgReservationA)(nullptr, string, "g"); }},
        };
    }
    std::vector<Argument> names_in_queries() {
        return {
            {"GetDgReservationStatusA", "name",
             [&](auto string) {
                 return FARLO(GetDgReservationStatusA)(nullptr, string, "g", &number);
             }},
            {"GetDgStateA", "name",
             [&](auto string) { return FARLO(GetDgStateA)(nullptr, string, "g", &byte); }},
            {"GetDiskStateA", "disk",
             [&](auto string) { return FARLO(GetDiskStateA)(nullptr, string, &number); }},
            {"GetDgDiskAvailabilityA", "name",
             [&](auto string) {
                 return FARLO(GetDgDiskAvailabilityA)(nullptr, string, "g", &number, &number);
             }},
            {"GetDgGuidA", "name",
             [&](auto string) { return FARLO(GetDgGuidA)(nullptr, string, guid); }},
            {"GetNonClusterDgGuidA", "name",
             [&](auto string) { return FARLO(GetNonClusterDgGuidA)(nullptr, string, guid); }},
            {"GetDgVolumeGuidA", "name",
             [&](auto string) { return FARLO(GetDgVolumeGuidA)(nullptr, string, "g", "d", guid); }},
            {"GetDgPropertiesA", "name",
             [&](auto string) {
                 return FARLO(GetDgPropertiesA)(nullptr, string, "g", nullptr, &number);
             }},
            {"GetDgVolPropertiesA", "name",
             [&](auto string) {
                 return FARLO(GetDgVolPropertiesA)(nullptr, string, "g", nullptr, &number);
             }},
            {"GetDgVolumePropertiesA", "name",
             [&](auto string) {
                 return FARLO(GetDgVolumePropertiesA)(nullptr, string, "g", "d", nullptr, &number);
             }},
            {"GetDgDiskPropertiesA", "name",
             [&](auto string) {
                 return FARLO(GetDgDiskPropertiesA)(nullptr, string, "g", nullptr, &number);
             }},
            {"GetDgVolumeStateA", "name",
             [&](auto string) {
                 return FARLO(GetDgVolumeStateA)(nullptr, string, "g", "d", &number);
             }},
            {"GetVolumeNameForSerialNumberA", "name",
             [&](auto string) {
                 return FARLO(GetVolumeNameForSerialNumberA)(nullptr, string, "g", 1, nullptr,
                                                             &number);
             }},
        };
    }

    std::uint32_t number = 0;
    std::uint8_t byte = 0;
    char guid[65] = {};
};

TEST_F(NarrowNames, OfGroupsHaveUpTo31Characters) {
    once([&] {
        for (const auto& arguments : {names_in_operations(), names_in_queries()}) {
            for (const Argument& argument : arguments) {
                expect_limit(31, argument);
            }
        }
    });
}

TEST_F(NarrowNames, OfNewGroupsAndVolumesInGroupHaveUpTo31Characters) {
    once([&] {
        const std::vector<Argument> arguments = {
            {"OnlineDgExA", "new_name",
             [&](auto string) { return FARLO(OnlineDgExA)(nullptr, "dg", "g", string, 0, 0); }},
            {"OnlineDgA", "new_name",
             [&](auto string) { return FARLO(OnlineDgA)(nullptr, "dg", "g", string, 0); }},
            {"ImportDgA", "new_name",
             [&](auto string) { return FARLO(ImportDgA)(nullptr, "dg", "g", string, 0); }},
            {"GetDgVolumeGuidA", "device",
             [&](auto string) {
                 return FARLO(GetDgVolumeGuidA)(nullptr, "dg", "g", string, guid);
             }},
            {"GetDgVolumePropertiesA", "device",
             [&](auto string) {
                 return FARLO(GetDgVolumePropertiesA)(nullptr, "dg", "g", string, nullptr, &number);
             }},
            {"GetDgVolumeStateA", "device",
             [&](auto string) {
                 return FARLO(GetDgVolumeStateA)(nullptr, "dg", "g", string, &number);
             }},
        };
        for (const Argument& argument : arguments) {
            expect_limit(31, argument);
        }
    });
}

TEST_F(NarrowNames, ThatAreBothTooLongAreLoggedOnlyForFirst) {
    once([&] {
        const std::string long_string(32, 't');
        const char* string = long_string.c_str();
        const std::map<std::string, std::function<std::uint32_t()>> calls = {
            {"OnlineDgExA", [&] { return FARLO(OnlineDgExA)(nullptr, string, "g", string, 0, 0); }},
            {"OnlineDgA", [&] { return FARLO(OnlineDgA)(nullptr, string, "g", string, 0); }},
            {"ImportDgA", [&] { return FARLO(ImportDgA)(nullptr, string, "g", string, 0); }},
            {"GetDgVolumeGuidA",
             [&] { return FARLO(GetDgVolumeGuidA)(nullptr, string, "g", string, guid); }},
            {"GetDgVolumePropertiesA",
             [&] {
                 return FARLO(GetDgVolumePropertiesA)(nullptr, string, "g", string, nullptr,
                                                      &number);
             }},
            {"GetDgVolumeStateA",
             [&] { return FARLO(GetDgVolumeStateA)(nullptr, string, "g", string, &number); }},
        };
        for (const auto& [entry, call] : calls) {
            environment().remove_logs();
            EXPECT_EQ(call(), FARLO_INVALID_ARGUMENT);
            EXPECT_EQ(log_messages(), std::vector<std::string>{rejection(entry, "name", 31)});
        }
    });
}

TEST_F(NarrowNames, OfVolumesAndPathsHaveUpTo259Characters) {
    once([&] {
        std::uint8_t disk[16];
        VolPropInfo record;
        const std::vector<Argument> arguments = {
            {"OnlineVolA", "device",
             [&](auto string) { return FARLO(OnlineVolA)(nullptr, "g", string, 0, 0); }},
            {"OfflineVolA", "device",
             [&](auto string) { return FARLO(OfflineVolA)(nullptr, "g", string, 0); }},
            {"OfflineVolumeA", "path",
             [&](auto string) { return FARLO(OfflineVolumeA)("v", string, disk); }},
            {"FFUpdateMountPathA", "name",
             [&](auto string) { return FARLO(FFUpdateMountPathA)(nullptr, string); }},
            {"GetDiskTypeAndSignatureA", "path",
             [&](auto string) {
                 return FARLO(GetDiskTypeAndSignatureA)(string, &number, disk, &number);
             }},
            {"GetFirstVolumesDiskIDA", "name",
             [&](auto string) {
                 return FARLO(GetFirstVolumesDiskIDA)(nullptr, string, &number, &number);
             }},
            {"GetClusterSharedDgGuidA", "device",
             [&](auto string) { return FARLO(GetClusterSharedDgGuidA)(nullptr, string, guid); }},
            {"GetVolPropertiesA", "device",
             [&](auto string) {
                 return FARLO(GetVolPropertiesA)(nullptr, string, &record, &number);
             }},
        };
        for (const Argument& argument : arguments) {
            expect_limit(259, argument);
        }
    });
}

}  // namespace
