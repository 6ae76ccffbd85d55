// Alert names, messages, strings, memory, trace and the DLL's exports.
#include "lab/bus_fixture.h"

#include <set>

using namespace lab_tests;
using testing::ElementsAre;

namespace {

using Utilities = BusTest;

TEST_F(Utilities, EvMatchSupportsStarAndIgnoresCase) {
    EXPECT_TRUE(EvMatch("event.alert", "EVENT.alert"));
    EXPECT_FALSE(EvMatch("event.alert", "event.alert.more"));
    EXPECT_FALSE(EvMatch("event.alert.more", "event.alert"));
    EXPECT_TRUE(EvMatch("event.*", "Event.alert.more"));
    EXPECT_TRUE(EvMatch("*.dg.*.success", "event.dg.import.dg.force.success"));
    EXPECT_FALSE(EvMatch("*.dg.*.success", "event.dg.success"));
    EXPECT_TRUE(EvMatch("*", ""));
    EXPECT_TRUE(EvMatch("a**b", "ab"));
    EXPECT_FALSE(EvMatch("", "a"));
    EXPECT_TRUE(EvMatch("", ""));
    EXPECT_FALSE(EvMatch(nullptr, "a"));
    EXPECT_FALSE(EvMatch("a", nullptr));
}

TEST_F(Utilities, InsertionsAreCopiesForTheCallerToFree) {
    opal_i18n_format format{"%s and %s", 0, nullptr};
    char narrow[] = "first";
    wchar_t wide[] = L"second";
    EXPECT_EQ(I18nAddInsertionString(&format, narrow), ZTSTATUS_OK);
    EXPECT_EQ(I18nAddInsertionWideString(&format, wide), ZTSTATUS_OK);
    narrow[0] = 'X';
    wide[0] = L'X';
    ASSERT_EQ(format.insertion_count, 2u);
    EXPECT_STREQ(format.insertions[0].string, "first");
    EXPECT_EQ(format.insertions[0].wide_string, nullptr);
    EXPECT_STREQ(format.insertions[1].wide_string, L"second");
    EXPECT_EQ(format.insertions[1].string, nullptr);
    EXPECT_EQ(live().blocks, 3u);
    _ZtFree(const_cast<char*>(format.insertions[0].string));
    _ZtFree(const_cast<wchar_t*>(format.insertions[1].wide_string));
    _ZtFree(format.insertions);
    EXPECT_EQ(I18nAddInsertionString(nullptr, "x"), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(I18nAddInsertionString(&format, nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(I18nAddInsertionWideString(&format, nullptr), ZTERROR_INVALID_ARGUMENT);
}

TEST_F(Utilities, GuidStringIsLowerCase) {
    const GUID guid = {
        0x61678C9A, 0x1DD2, 0x01B2, {0x96, 0x03, 0x08, 0x00, 0x20, 0x9E, 0xAD, 0x9C}};
    char* text = ZtGUIDToString(&guid);
    EXPECT_STREQ(text, "{61678c9a-1dd2-01b2-9603-0800209ead9c}");
    EXPECT_EQ(live().blocks, 1u);
    _ZtFree(text);
    EXPECT_EQ(ZtGUIDToString(nullptr), nullptr);
}

TEST_F(Utilities, MemoryIsZeroedAndCounted) {
    auto* block = static_cast<char*>(_ZtAlloc(100));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(std::string(block, 100), std::string(100, '\0'));
    void* nothing = _ZtAlloc(0);
    EXPECT_NE(nothing, nullptr);
    EXPECT_EQ(live().blocks, 2u);
    _ZtFree(block);
    _ZtFree(nothing);
    _ZtFree(nullptr);
    EXPECT_EQ(live().blocks, 0u);
}

TEST_F(Utilities, ConvertsStringsWithinCapacity) {
    constexpr auto failed = static_cast<size_t>(-1);
    wchar_t wide[8] = L"zzzzzzz";
    EXPECT_EQ(Ztmbstowcs(wide, "abc", 4), 3u);
    EXPECT_STREQ(wide, L"abc");
    EXPECT_EQ(wide[4], L'z');
    EXPECT_EQ(Ztmbstowcs(wide, "abc", 3), failed);
    EXPECT_STREQ(wide, L"");
    EXPECT_EQ(Ztmbstowcs(nullptr, "abc", 0), 3u);
    EXPECT_EQ(Ztmbstowcs(wide, "", 1), 0u);
    EXPECT_EQ(Ztmbstowcs(wide, nullptr, 8), failed);

    char narrow[8] = "zzzzzzz";
    EXPECT_EQ(Ztwcstombs(narrow, L"abc", 4), 3u);
    EXPECT_STREQ(narrow, "abc");
    EXPECT_EQ(narrow[4], 'z');
    EXPECT_EQ(Ztwcstombs(narrow, L"abc", 3), failed);
    EXPECT_STREQ(narrow, "");
    EXPECT_EQ(Ztwcstombs(nullptr, L"abc", 0), 3u);
    EXPECT_EQ(Ztwcstombs(narrow, nullptr, 8), failed);
    if (GetACP() != CP_UTF8) {
        EXPECT_EQ(Ztwcstombs(narrow, L"a\u65e5", 8), failed);
        EXPECT_STREQ(narrow, "");
    }
}

TEST_F(Utilities, LocksCriticalSectionsAndClosesHandles) {
    CRITICAL_SECTION section;
    ZtInitializeCriticalSection(&section);
    ZtEnterCriticalSection(&section);
    EXPECT_EQ(section.RecursionCount, 1);
    ZtLeaveCriticalSection(&section);
    EXPECT_EQ(section.RecursionCount, 0);
    ZtDeleteCriticalSection(&section);

    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    EXPECT_TRUE(ZtCloseHandle(event));
    EXPECT_FALSE(SetEvent(event));
    EXPECT_FALSE(ZtCloseHandle(nullptr));
}

TEST_F(Utilities, SleepsAsLongAsAsked) {
    const std::int64_t before = microseconds();
    ZtSleep(60);
    EXPECT_GE(microseconds() - before, 59'000);
}

std::vector<std::string> traced;
void keep_trace(std::uint32_t level, const char* text) {
    traced.push_back(std::to_string(level) + " " + text);
}

TEST_F(Utilities, TraceFormatsLikeWindows) {
    traced.clear();
    LabSetTraceSink(keep_trace);
    ZtTrace(4, "%S: %s is %d, 0x%x, %I64d, %ws", L"wide", "narrow", -1, 0xabu, INT64_MIN, L"w");
    LabSetTraceSink(nullptr);
    ZtTrace(5, "no sink");
    EXPECT_THAT(traced, ElementsAre("4 wide: narrow is -1, 0xab, -9223372036854775808, w"));
}

TEST_F(Utilities, TraceTruncatesLongLines) {
    traced.clear();
    LabSetTraceSink(keep_trace);
    ZtTrace(0, "%s", std::string(5000, 'x').c_str());
    ASSERT_EQ(traced.size(), 1u);
    EXPECT_EQ(traced[0].find_first_not_of('x', 2), std::string::npos);
    EXPECT_LT(traced[0].size(), 5000u);
    EXPECT_GT(traced[0].size(), 1000u);
}

// Returns the names in the DLL's export table.
std::set<std::string> exported_names() {
    const auto* base = reinterpret_cast<const char*>(GetModuleHandleW(L"ztbus3.dll"));
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    const auto* table = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(
        base + headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
    const auto* names = reinterpret_cast<const DWORD*>(base + table->AddressOfNames);
    std::set<std::string> result;
    for (DWORD i = 0; i < table->NumberOfNames; ++i) {
        result.insert(base + names[i]);
    }
    return result;
}

TEST_F(Utilities, DllExportsTheBusAndTheLab) {
    EXPECT_THAT(exported_names(),
                testing::UnorderedElementsAre(
                    "PsCreatePropset", "PsDestroyPropset", "PsAddProperty", "PsSetProperty",
                    "PsFindProperty", "PsOpenPropset", "PsFindNextProperty", "PsFreeProperty",
                    "PsCopyPropset", "ObGetProperty", "ObSetProperty", "ObGetProperties",
                    "ObGetObjectType", "ObGetChildObjects", "ObGetParentObjects", "ObDeleteObject",
                    "ObCompareId", "DbGetObjects", "DbGetObjectsByQuery", "PrCallDispatch",
                    "EvMatch", "I18nAddInsertionString", "I18nAddInsertionWideString", "ZtTrace",
                    "ZtGUIDToString", "_ZtAlloc", "_ZtFree", "ZtSleep",
                    "ZtInitializeCriticalSection", "ZtEnterCriticalSection",
                    "ZtLeaveCriticalSection", "ZtDeleteCriticalSection", "Ztmbstowcs", "Ztwcstombs",
                    "ZtCloseHandle", "LabLoadScenarioFile", "LabLoadScenarioText", "LabFindObject",
                    "LabOpenConnection", "LabCloseConnection", "LabReleaseConnection",
                    "LabEndReleasedUse", "LabDropConnections", "LabRefuseConnections",
                    "LabRaiseAlert", "LabRecorderStart", "LabRecorderStop", "LabRecordedCalls",
                    "LabSetFaultPlan", "LabGetLive", "LabCallCount", "LabSetTraceSink"));
}

TEST_F(Utilities, CountsCallsByName) {
    const std::uint64_t before = LabCallCount("EvMatch");
    const std::uint64_t allocations = LabCallCount("_ZtAlloc");
    EvMatch("a", "b");
    EvMatch("a", "b");
    _ZtFree(_ZtAlloc(1));
    EXPECT_EQ(LabCallCount("EvMatch"), before + 2);
    EXPECT_EQ(LabCallCount("_ZtAlloc"), allocations + 1);
    EXPECT_EQ(LabCallCount("evmatch"), 0u);
    EXPECT_EQ(LabCallCount(nullptr), 0u);
}

}  // namespace
