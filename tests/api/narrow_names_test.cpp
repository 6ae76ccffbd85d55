// The buffers of the narrow forms: what is just taken, and what is refused, in one line that
// names the export and the argument.
#include "support/farlo_test.h"

#include <cstdarg>
#include <cstring>
#include <cwchar>
#include <map>

namespace {

using namespace support;

constexpr char no_text[] = "no text of the code page";

// Answers for that text as Windows does for one that is none; Wine takes any.
int convert(wchar_t* buffer, std::size_t capacity, const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list first;
    va_copy(first, arguments);
    const bool is_text = std::strcmp(va_arg(first, const char*), no_text) != 0;
    va_end(first);
    const int length = is_text ? _vsnwprintf(buffer, capacity, format, arguments) : -1;
    va_end(arguments);
    return length;
}

class NarrowNames : public FarloTest {
  protected:
    using Call = std::function<std::uint32_t(const char* text)>;

    struct Argument {
        std::string entry;
        std::string name;
        Call call;
    };

    static std::vector<std::string> log_lines() {
        std::string error;
        std::vector<std::string> result;
        for (const LogLine& line : read_log(environment().log_file(), error)) {
            result.push_back(line.text);
        }
        EXPECT_EQ(error, "");
        return result;
    }
    // The one line of a refused call.
    static std::string refusal(const std::string& entry, const std::string& name,
                               std::size_t limit) {
        return entry + "() failed , " + name + " string of more than " + std::to_string(limit) +
               " characters or invalid, error=(0x80070057)";
    }

    void expect_limit(std::size_t limit, const Argument& argument) {
        SCOPED_TRACE(argument.entry + " " + argument.name);
        const Call& call = argument.call;
        const std::vector<std::string> refused = {refusal(argument.entry, argument.name, limit)};
        call(std::string(limit, 't').c_str());
        EXPECT_THAT(log_lines(), testing::Not(testing::Contains(refused.front())));
        for (const std::size_t length : {limit + 1, std::size_t{100'000}}) {
            environment().remove_logs();
            EXPECT_EQ(call(std::string(length, 't').c_str()), 0x80070057u);
            EXPECT_EQ(log_lines(), refused);
        }
        environment().remove_logs();
        {
            const Interposer conversion(dll().module(), "_snwprintf", convert);
            EXPECT_EQ(call(no_text), 0x80070057u);
        }
        EXPECT_EQ(log_lines(), refused);
        environment().remove_logs();
    }
};

TEST_F(NarrowNames, OfGroupsHave31Characters) {
    once([&] {
        std::uint32_t word = 0;
        std::uint8_t byte = 0;
        char guid[65];
        const std::vector<Argument> arguments = {
            {"OnlineDgExA", "name",
             [&](auto text) { return FARLO(OnlineDgExA)(nullptr, text, "g", nullptr, 0, 0); }},
            {"OnlineDgA", "name",
             [&](auto text) { return FARLO(OnlineDgA)(nullptr, text, "g", nullptr, 0); }},
            {"ImportDgA", "name",
             [&](auto text) { return FARLO(ImportDgA)(nullptr, text, "g", "n", 0); }},
            {"OfflineDgA", "name",
             [&](auto text) { return FARLO(OfflineDgA)(nullptr, text, "g", 0); }},
            {"DeportDgA", "name", [&](auto text) { return FARLO(DeportDgA)(nullptr, text, "g"); }},
            {"ArbitrateDgA", "name",
             [&](auto text) { return FARLO(ArbitrateDgA)(nullptr, text, "g"); }},
            {"StopDgReservationA", "name",
             [&](auto text) { return FARLO(StopDgReservationA)(nullptr, text, "g"); }},
            {"GetDgReservationStatusA", "name",
             [&](auto text) { return FARLO(GetDgReservationStatusA)(nullptr, text, "g", &word); }},
            {"GetDgStateA", "name",
             [&](auto text) { return FARLO(GetDgStateA)(nullptr, text, "g", &byte); }},
            {"GetDiskStateA", "disk",
             [&](auto text) { return FARLO(GetDiskStateA)(nullptr, text, &word); }},
            {"GetDgDiskAvailabilityA", "name",
             [&](auto text) {
                 return FARLO(GetDgDiskAvailabilityA)(nullptr, text, "g", &word, &word);
             }},
            {"GetDgGuidA", "name",
             [&](auto text) { return FARLO(GetDgGuidA)(nullptr, text, guid); }},
            {"GetNonClusterDgGuidA", "name",
             [&](auto text) { return FARLO(GetNonClusterDgGuidA)(nullptr, text, guid); }},
            {"GetDgVolumeGuidA", "name",
             [&](auto text) { return FARLO(GetDgVolumeGuidA)(nullptr, text, "g", "d", guid); }},
            {"GetDgPropertiesA", "name",
             [&](auto text) {
                 return FARLO(GetDgPropertiesA)(nullptr, text, "g", nullptr, &word);
             }},
            {"GetDgVolPropertiesA", "name",
             [&](auto text) {
                 return FARLO(GetDgVolPropertiesA)(nullptr, text, "g", nullptr, &word);
             }},
            {"GetDgVolumePropertiesA", "name",
             [&](auto text) {
                 return FARLO(GetDgVolumePropertiesA)(nullptr, text, "g", "d", nullptr, &word);
             }},
            {"GetDgDiskPropertiesA", "name",
             [&](auto text) {
                 return FARLO(GetDgDiskPropertiesA)(nullptr, text, "g", nullptr, &word);
             }},
            {"GetDgVolumeStateA", "name",
             [&](auto text) { return FARLO(GetDgVolumeStateA)(nullptr, text, "g", "d", &word); }},
            {"GetVolumeNameForSerialNumberA", "name",
             [&](auto text) {
                 return FARLO(GetVolumeNameForSerialNumberA)(nullptr, text, "g", 1, nullptr, &word);
             }},
        };
        for (const Argument& argument : arguments) {
            expect_limit(31, argument);
        }
    });
}

// New names of groups, and volumes that are asked for by name in a group.
TEST_F(NarrowNames, BesideAGroupHave31Characters) {
    once([&] {
        std::uint32_t word = 0;
        char guid[65];
        const std::vector<Argument> arguments = {
            {"OnlineDgExA", "new_name",
             [&](auto text) { return FARLO(OnlineDgExA)(nullptr, "dg", "g", text, 0, 0); }},
            {"OnlineDgA", "new_name",
             [&](auto text) { return FARLO(OnlineDgA)(nullptr, "dg", "g", text, 0); }},
            {"ImportDgA", "new_name",
             [&](auto text) { return FARLO(ImportDgA)(nullptr, "dg", "g", text, 0); }},
            {"GetDgVolumeGuidA", "device",
             [&](auto text) { return FARLO(GetDgVolumeGuidA)(nullptr, "dg", "g", text, guid); }},
            {"GetDgVolumePropertiesA", "device",
             [&](auto text) {
                 return FARLO(GetDgVolumePropertiesA)(nullptr, "dg", "g", text, nullptr, &word);
             }},
            {"GetDgVolumeStateA", "device",
             [&](auto text) { return FARLO(GetDgVolumeStateA)(nullptr, "dg", "g", text, &word); }},
        };
        for (const Argument& argument : arguments) {
            expect_limit(31, argument);
        }
    });
}

TEST_F(NarrowNames, TheFirstOfTwoIsNamed) {
    once([&] {
        const std::string long_string(32, 't');
        const char* text = long_string.c_str();
        std::uint32_t word = 0;
        char guid[65];
        const std::map<std::string, std::function<std::uint32_t()>> calls = {
            {"OnlineDgExA", [&] { return FARLO(OnlineDgExA)(nullptr, text, "g", text, 0, 0); }},
            {"OnlineDgA", [&] { return FARLO(OnlineDgA)(nullptr, text, "g", text, 0); }},
            {"ImportDgA", [&] { return FARLO(ImportDgA)(nullptr, text, "g", text, 0); }},
            {"GetDgVolumeGuidA",
             [&] { return FARLO(GetDgVolumeGuidA)(nullptr, text, "g", text, guid); }},
            {"GetDgVolumePropertiesA",
             [&] {
                 return FARLO(GetDgVolumePropertiesA)(nullptr, text, "g", text, nullptr, &word);
             }},
            {"GetDgVolumeStateA",
             [&] { return FARLO(GetDgVolumeStateA)(nullptr, text, "g", text, &word); }},
        };
        for (const auto& [entry, call] : calls) {
            environment().remove_logs();
            EXPECT_EQ(call(), 0x80070057u);
            EXPECT_EQ(log_lines(), std::vector<std::string>{refusal(entry, "name", 31)});
        }
    });
}

TEST_F(NarrowNames, OfVolumesAndPathsHave259Characters) {
    once([&] {
        std::uint32_t word = 0;
        std::uint8_t disk[16];
        VolPropInfo record;
        char guid[65];
        const std::vector<Argument> arguments = {
            {"OnlineVolA", "device",
             [&](auto text) { return FARLO(OnlineVolA)(nullptr, "g", text, 0, 0); }},
            {"OfflineVolA", "device",
             [&](auto text) { return FARLO(OfflineVolA)(nullptr, "g", text, 0); }},
            {"OfflineVolumeA", "path",
             [&](auto text) { return FARLO(OfflineVolumeA)("v", text, disk); }},
            {"FFUpdateMountPathA", "name",
             [&](auto text) { return FARLO(FFUpdateMountPathA)(nullptr, text); }},
            {"GetDiskTypeAndSignatureA", "path",
             [&](auto text) { return FARLO(GetDiskTypeAndSignatureA)(text, &word, disk, &word); }},
            {"GetFirstVolumesDiskIDA", "name",
             [&](auto text) { return FARLO(GetFirstVolumesDiskIDA)(nullptr, text, &word, &word); }},
            {"GetClusterSharedDgGuidA", "device",
             [&](auto text) { return FARLO(GetClusterSharedDgGuidA)(nullptr, text, guid); }},
            {"GetVolPropertiesA", "device",
             [&](auto text) { return FARLO(GetVolPropertiesA)(nullptr, text, &record, &word); }},
        };
        for (const Argument& argument : arguments) {
            expect_limit(259, argument);
        }
    });
}

}  // namespace
