#include "farlo_test.h"

#include <algorithm>
#include <sstream>

namespace support {
namespace {

// The last threshold first: the DLL's first load makes what lasts for the
// process, which is not to be taken for a leak.
constexpr DWORD thresholds[] = {6, 0, 1, 2, 3, 4, 5};

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += "  " + line + "\n";
    }
    return text;
}

// Both lists whole, with a mark where they part.
std::string comparison(const std::vector<std::string>& found,
                       const std::vector<std::string>& wanted) {
    std::size_t same = 0;
    while (same < found.size() && same < wanted.size() && found[same] == wanted[same]) {
        ++same;
    }
    std::ostringstream text;
    text << "they part at number " << same + 1 << "\nfound:\n"
         << joined(found) << "wanted:\n"
         << joined(wanted);
    return text.str();
}

}  // namespace

DWORD kernel_handles() {
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}

void FarloTest::SetUp() {
    environment();
}

void FarloTest::TearDown() {
    LabSetFaultPlan(nullptr, nullptr, 0);
    LabRecorderStop();
    LabRefuseConnections(ZTSTATUS_OK);
    LabCmdFailInitialize(0, 0);
    LabCmdFailUnInitialize(0);
    LabCmdFailRegister(0);
}

void FarloTest::at_every_threshold(const std::function<void()>& body) {
    for (const DWORD threshold : thresholds) {
        SCOPED_TRACE("at threshold " + std::to_string(threshold));
        m_threshold = threshold;
        run(body);
        if (HasFatalFailure() || HasNonfatalFailure()) {
            return;
        }
    }
}

void FarloTest::once(const std::function<void()>& body) {
    m_threshold = 6;
    run(body);
}

void FarloTest::run(const std::function<void()>& body) {
    environment().set_trace_level(m_threshold);
    environment().clear_registry(volume_manager_key);
    if (support_scsi3) {
        environment().set_registry(volume_manager_key, L"SupportSCSI3", *support_scsi3);
    }
    m_dll = std::make_unique<FarloDll>();
    m_heap = std::make_unique<HeapWatch>(m_dll->module());
    if (virtual_time) {
        m_clock = std::make_unique<VirtualClock>(m_dll->module());
    }
    handle = nullptr;
    if (connects) {
        ASSERT_EQ(FARLO(InitializeClusterW)(&handle), FARLO_SUCCESS);
        throw_once();
    }
    load_scenario(scenario);
    set_faults("[]");
    lab_live before;
    LabGetLive(&before);
    const DWORD handles_before = kernel_handles();
    const long blocks_before = m_heap->live_blocks();
    start_watching();

    body();

    LabRecorderStop();
    set_faults("[]");
    LabCmdFlushAlerts();
    expect_nothing_left(handles_before, before, blocks_before);
    if (handle != nullptr) {
        FARLO(UnInitializeClusterW)(handle);
        handle = nullptr;
    }
    m_clock.reset();
    m_heap.reset();
    m_dll.reset();
}

// The first exception in a DLL makes the C++ runtime allocate what it keeps.
void FarloTest::throw_once() {
    load_scenario("{}");
    set_faults(R"([{"function": "PsCreatePropset", "status": "0xc1000102"}])");
    ASSERT_EQ(FARLO(ImportDgW)(handle, nullptr, "g", nullptr, 0), FARLO_EXCEPTION);
}

void FarloTest::expect_nothing_left(DWORD handles_before, const lab_live& before,
                                    long blocks_before) {
    lab_live after;
    LabGetLive(&after);
    EXPECT_EQ(after.property_sets, before.property_sets) << "property sets were left over";
    EXPECT_EQ(after.properties, before.properties) << "properties were left over";
    EXPECT_EQ(after.blocks, before.blocks) << "blocks of the bus were left over";
    EXPECT_EQ(m_heap->live_blocks(), blocks_before) << "heap blocks were left over";
    EXPECT_EQ(kernel_handles(), handles_before) << "kernel handles were left over";
}

void FarloTest::load_scenario(const std::string& json) {
    char error[256];
    ASSERT_EQ(LabLoadScenarioText(json.c_str(), error, sizeof error), 0) << error;
}

void FarloTest::set_faults(const std::string& json) {
    char error[256];
    ASSERT_EQ(LabSetFaultPlan(json.c_str(), error, sizeof error), 0) << error;
}

void FarloTest::start_watching() {
    environment().remove_logs();
    LabRecorderStart(LAB_RECORD_SERVICE);
    if (m_clock != nullptr) {
        m_clock->forget();
    }
}

void FarloTest::expect_log(const std::vector<Expected>& lines) {
    std::string error;
    std::vector<std::string> found;
    for (const LogLine& line : read_log(environment().log_file(), error)) {
        found.push_back(line.text);
    }
    EXPECT_EQ(error, "");
    std::vector<std::string> wanted;
    for (const Expected& line : lines) {
        if (line.level <= m_threshold) {
            wanted.push_back(line.text);
        }
    }
    EXPECT_TRUE(found == wanted) << "log lines: " << comparison(found, wanted);
}

std::vector<std::string> FarloTest::calls() const {
    std::string text(LabRecorderText(nullptr, 0), '\0');
    LabRecorderText(text.data(), text.size());
    text.resize(text.size() - 1);
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

void FarloTest::expect_calls(const std::vector<std::string>& wanted) {
    const std::vector<std::string> found = calls();
    EXPECT_TRUE(found == wanted) << "bus calls: " << comparison(found, wanted);
}

std::vector<std::string> FarloTest::calls_of(const std::string& function) const {
    std::vector<std::string> lines = calls();
    std::erase_if(lines, [&function](const std::string& line) {
        return line.compare(0, function.size() + 1, function + " ") != 0;
    });
    return lines;
}

void FarloTest::expect_pauses(const std::vector<Pause>& wanted) {
    EXPECT_EQ(m_clock->pauses(), wanted);
}

}  // namespace support
