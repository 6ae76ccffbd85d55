// The buffers of the narrow forms: what is just taken, and what is refused.
#include "farlo_test.h"

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

    // Lines that tell of a text that does not fit.
    static std::vector<std::string> refusals() {
        std::string error;
        std::vector<std::string> result;
        for (const LogLine& line : read_log(environment().log_file(), error)) {
            if (line.text.find("text of more than") != std::string::npos) {
                result.push_back(line.text);
            }
        }
        EXPECT_EQ(error, "");
        return result;
    }

    // `entry` is what the refusal names.
    void expect_limit(const std::string& entry, std::size_t limit, const Call& call) {
        SCOPED_TRACE(entry);
        const std::string refusal = entry + "() failed , text of more than " +
                                    std::to_string(limit) +
                                    " characters or invalid, error=(0x80070057)";
        call(std::string(limit, 't').c_str());
        EXPECT_EQ(refusals(), std::vector<std::string>{});
        for (const std::size_t length : {limit + 1, std::size_t{100'000}}) {
            environment().remove_logs();
            EXPECT_EQ(call(std::string(length, 't').c_str()), 0x80070057u);
            EXPECT_EQ(refusals(), std::vector<std::string>{refusal});
        }
        environment().remove_logs();
        {
            const Interposer conversion(dll().module(), "_snwprintf", convert);
            EXPECT_EQ(call(no_text), 0x80070057u);
        }
        EXPECT_EQ(refusals(), std::vector<std::string>{refusal});
        environment().remove_logs();
    }
};

TEST_F(NarrowNames, OfGroupsHave31Characters) {
    once([&] {
        std::uint32_t word = 0;
        std::uint8_t byte = 0;
        char guid[65];
        const std::map<std::string, Call> calls = {
            {"OnlineDgExA",
             [&](auto text) { return FARLO(OnlineDgExA)(nullptr, text, "g", nullptr, 0, 0); }},
            {"ImportDgA", [&](auto text) { return FARLO(ImportDgA)(nullptr, text, "g", "n", 0); }},
            {"OfflineDgA", [&](auto text) { return FARLO(OfflineDgA)(nullptr, text, "g", 0); }},
            {"DeportDgA", [&](auto text) { return FARLO(DeportDgA)(nullptr, text, "g"); }},
            {"ArbitrateDgA", [&](auto text) { return FARLO(ArbitrateDgA)(nullptr, text, "g"); }},
            {"StopDgReservationA",
             [&](auto text) { return FARLO(StopDgReservationA)(nullptr, text, "g"); }},
            {"GetDgReservationStatusA",
             [&](auto text) { return FARLO(GetDgReservationStatusA)(nullptr, text, "g", &word); }},
            {"GetDgStateA",
             [&](auto text) { return FARLO(GetDgStateA)(nullptr, text, "g", &byte); }},
            {"GetDiskStateA",
             [&](auto text) { return FARLO(GetDiskStateA)(nullptr, text, &word); }},
            {"GetDgDiskAvailabilityA",
             [&](auto text) {
                 return FARLO(GetDgDiskAvailabilityA)(nullptr, text, "g", &word, &word);
             }},
            {"GetDgGuidA", [&](auto text) { return FARLO(GetDgGuidA)(nullptr, text, guid); }},
            {"GetNonClusterDgGuidA",
             [&](auto text) { return FARLO(GetNonClusterDgGuidA)(nullptr, text, guid); }},
            {"GetDgVolumeGuidA",
             [&](auto text) { return FARLO(GetDgVolumeGuidA)(nullptr, text, "g", "d", guid); }},
            {"GetDgPropertiesA",
             [&](auto text) {
                 return FARLO(GetDgPropertiesA)(nullptr, text, "g", nullptr, &word);
             }},
            {"GetDgVolPropertiesA",
             [&](auto text) {
                 return FARLO(GetDgVolPropertiesA)(nullptr, text, "g", nullptr, &word);
             }},
            {"GetDgVolumePropertiesA",
             [&](auto text) {
                 return FARLO(GetDgVolumePropertiesA)(nullptr, text, "g", "d", nullptr, &word);
             }},
            {"GetDgDiskPropertiesA",
             [&](auto text) {
                 return FARLO(GetDgDiskPropertiesA)(nullptr, text, "g", nullptr, &word);
             }},
            {"GetDgVolumeStateA",
             [&](auto text) { return FARLO(GetDgVolumeStateA)(nullptr, text, "g", "d", &word); }},
            {"GetVolumeNameForSerialNumberA",
             [&](auto text) {
                 return FARLO(GetVolumeNameForSerialNumberA)(nullptr, text, "g", 1, nullptr, &word);
             }},
        };
        for (const auto& [entry, call] : calls) {
            expect_limit(entry, 31, call);
        }
    });
}

// New names of groups, and volumes that are asked for by name in a group.
TEST_F(NarrowNames, BesideAGroupHave31Characters) {
    once([&] {
        std::uint32_t word = 0;
        char guid[65];
        const std::map<std::string, Call> calls = {
            {"OnlineDgExA",
             [&](auto text) { return FARLO(OnlineDgExA)(nullptr, "dg", "g", text, 0, 0); }},
            {"ImportDgA", [&](auto text) { return FARLO(ImportDgA)(nullptr, "dg", "g", text, 0); }},
            {"GetDgVolumeGuidA",
             [&](auto text) { return FARLO(GetDgVolumeGuidA)(nullptr, "dg", "g", text, guid); }},
            {"GetDgVolumePropertiesA",
             [&](auto text) {
                 return FARLO(GetDgVolumePropertiesA)(nullptr, "dg", "g", text, nullptr, &word);
             }},
            {"GetDgVolumeStateA",
             [&](auto text) { return FARLO(GetDgVolumeStateA)(nullptr, "dg", "g", text, &word); }},
        };
        for (const auto& [entry, call] : calls) {
            expect_limit(entry, 31, call);
        }
        // The older form of the same operation speaks in its name.
        expect_limit("OnlineDgExA", 31,
                     [&](auto text) { return FARLO(OnlineDgA)(nullptr, text, "g", nullptr, 0); });
    });
}

TEST_F(NarrowNames, OfVolumesAndPathsHave259Characters) {
    once([&] {
        std::uint32_t word = 0;
        std::uint8_t disk[16];
        VolPropInfo record;
        char guid[65];
        const std::map<std::string, Call> calls = {
            {"OnlineVolA", [&](auto text) { return FARLO(OnlineVolA)(nullptr, "g", text, 0, 0); }},
            {"OfflineVolA", [&](auto text) { return FARLO(OfflineVolA)(nullptr, "g", text, 0); }},
            {"OfflineVolumeA", [&](auto text) { return FARLO(OfflineVolumeA)("v", text, disk); }},
            {"FFUpdateMountPathA",
             [&](auto text) { return FARLO(FFUpdateMountPathA)(nullptr, text); }},
            {"GetDiskTypeAndSignatureA",
             [&](auto text) { return FARLO(GetDiskTypeAndSignatureA)(text, &word, disk, &word); }},
            {"GetFirstVolumesDiskIDA",
             [&](auto text) { return FARLO(GetFirstVolumesDiskIDA)(nullptr, text, &word, &word); }},
            {"GetClusterSharedDgGuidA",
             [&](auto text) { return FARLO(GetClusterSharedDgGuidA)(nullptr, text, guid); }},
            {"GetVolPropertiesA",
             [&](auto text) { return FARLO(GetVolPropertiesA)(nullptr, text, &record, &word); }},
        };
        for (const auto& [entry, call] : calls) {
            expect_limit(entry, 259, call);
        }
    });
}

}  // namespace
