// Several lab nodes on this machine. Needs root.
#include "array/lab_array.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

using lab_test::run_program;

namespace {

using Command = std::vector<std::string>;

class LabNodes : public testing::Test {
  protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "nodes with a network of their own need root";
        }
        clean_up();
    }
    void TearDown() override {
        if (geteuid() == 0) {
            clean_up();
        }
    }

    // What `lab-node --name NODE ...` prints, without its line feed.
    static std::string node(const std::string& name, const Command& arguments) {
        Command command{LAB_NODE_SCRIPT, "--name", name};
        command.insert(command.end(), arguments.begin(), arguments.end());
        std::string output;
        m_exit_code = run_program(command, &output);
        while (!output.empty() && (output.back() == '\n' || output.back() == '\r')) {
            output.pop_back();
        }
        return output;
    }
    static std::string native(const std::string& name, Command command) {
        command.insert(command.begin(), "--native");
        return node(name, command);
    }
    // Whether a program with this command line runs in the node.
    static bool runs(const std::string& name, const std::string& command) {
        const Command show{"bash", "-c", "cat /proc/[0-9]*/cmdline | tr '\\0' ' '"};
        return native(name, show).find(command) != std::string::npos;
    }
    static bool reaches(const std::string& name, const std::string& address) {
        native(name, {"timeout", "2", "bash", "-c", "exec 3<>/dev/tcp/" + address + "/3260"});
        return m_exit_code == 0;
    }
    // Starts an array in a node, which listens at that address, and returns whether it did.
    static bool start_array(const std::string& name, const std::string& address) {
        native(name, {LAB_ARRAY_SCRIPT, "start", folder(), "--portal", address + ":3260"});
        return m_exit_code == 0;
    }

    static inline int m_exit_code = 0;

  private:
    static std::string folder() {
        return testing::TempDir() + "lab-node-array-" + std::to_string(getpid());
    }
    static void clean_up() {
        for (const char* name : {"n1", "n2", "n3"}) {
            node(name, {"--kill"});
            for (const char* other : {"n1", "n2", "n3"}) {
                node(name, {"--join", other});
            }
        }
        std::filesystem::remove_all(folder());
    }
};

TEST_F(LabNodes, HaveNamesAndAddressesOfTheirOwn) {
    EXPECT_EQ(native("n1", {"hostname"}), "n1");
    EXPECT_EQ(native("n2", {"hostname"}), "n2");
    const std::string address = node("n1", {"--address"});
    EXPECT_EQ(address.rfind("192.0.2.", 0), 0U) << address;
    EXPECT_NE(address, node("n2", {"--address"}));
}

TEST_F(LabNodes, HaveALoopbackOfTheirOwn) {
    ASSERT_TRUE(start_array("n1", "127.0.0.1"));
    EXPECT_TRUE(reaches("n1", "127.0.0.1"));
    EXPECT_FALSE(reaches("n2", "127.0.0.1"));
}

TEST_F(LabNodes, ReachEachOtherUnlessTheirLinkIsCut) {
    const std::string address = node("n1", {"--address"});
    ASSERT_TRUE(start_array("n1", address));
    EXPECT_TRUE(reaches("n2", address));
    EXPECT_TRUE(reaches("n3", address));
    node("n2", {"--cut", "n1"});
    EXPECT_FALSE(reaches("n2", address));
    EXPECT_TRUE(reaches("n3", address));
    node("n1", {"--join", "n2"});
    EXPECT_TRUE(reaches("n2", address));
}

TEST_F(LabNodes, KeepACutLinkThroughARestart) {
    const std::string address = node("n1", {"--address"});
    native("n2", {"true"});
    node("n1", {"--cut", "n2"});
    node("n1", {"--kill"});
    ASSERT_TRUE(start_array("n1", address));
    EXPECT_EQ(node("n1", {"--address"}), address);
    EXPECT_TRUE(reaches("n3", address));
    EXPECT_FALSE(reaches("n2", address));
    node("n1", {"--join", "n2"});
    EXPECT_TRUE(reaches("n2", address));
}

TEST_F(LabNodes, EndWithEverythingThatRunsInThem) {
    native("n2", {"true"});
    for (const char* end : {"--kill", "--stop"}) {
        int exit_code = 0;
        std::thread program([&] {
            exit_code = run_program({LAB_NODE_SCRIPT, "--name", "n1", "--native", "sleep", "1000"});
        });
        while (!runs("n1", "sleep 1000")) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        node("n1", {end});
        program.join();
        EXPECT_NE(exit_code, 0) << end;
        EXPECT_FALSE(runs("n1", "sleep 1000"));
        EXPECT_EQ(native("n2", {"hostname"}), "n2") << "the other node is still up";
    }
}

TEST_F(LabNodes, ReturnTheExitCodeAndUseTheFolder) {
    native("n1", {"bash", "-c", "exit 7"});
    EXPECT_EQ(m_exit_code, 7);
    EXPECT_EQ(native("n1", {"pwd"}), std::filesystem::current_path());
}

// Each with a prefix of its own.
TEST_F(LabNodes, RunWindowsProgramsAtTheSameTime) {
    for (const char* name : {"n1", "n2"}) {
        node(name, {"cmd.exe", "/c", "exit"});  // may say what it waits for
    }
    EXPECT_EQ(node("n1", {"cmd.exe", "/c", "echo %COMPUTERNAME%"}), "N1");
    EXPECT_EQ(node("n2", {"cmd.exe", "/c", "echo %COMPUTERNAME%"}), "N2");
    const Command add{"reg.exe", "add", "HKCU\\Software\\LabNodeTest", "/ve", "/f"};
    const Command query{"reg.exe", "query", "HKCU\\Software\\LabNodeTest"};
    node("n1", add);
    EXPECT_EQ(m_exit_code, 0);
    node("n1", query);
    EXPECT_EQ(m_exit_code, 0);
    node("n2", query);
    EXPECT_NE(m_exit_code, 0);
    node("n1", {"reg.exe", "delete", "HKCU\\Software\\LabNodeTest", "/f"});
    EXPECT_EQ(m_exit_code, 0);
}

TEST_F(LabNodes, SayWhatIsWrong) {
    EXPECT_EQ(node("N1", {"true"}),
              "lab-node: the node's name N1 is not a letter and up to 11 of a-z, 0-9 and -");
    EXPECT_EQ(m_exit_code, 127);
    EXPECT_EQ(node("n1", {"--cut", "n9"}), "lab-node: there is no other node n9");
    EXPECT_EQ(node("n1", {"--cut", "n1"}), "lab-node: there is no other node n1");
}

}  // namespace
