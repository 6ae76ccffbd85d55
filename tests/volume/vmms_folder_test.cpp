// DeleteVMMSFolder: on real folders.
#include "support/farlo_test.h"
#include "volume/system_errors.h"

#include <fstream>

namespace {

using namespace support;

bool exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

class VmmsFolder : public FarloTest {
  protected:
    VmmsFolder() { connects = false; }

    // A fresh folder for one run, with its backslash.
    std::wstring make_root() {
        const std::filesystem::path folder = environment().folder() / L"vmms";
        std::filesystem::remove_all(folder);
        std::filesystem::create_directory(folder);
        return folder.wstring() + L"\\";
    }

    static void make(const std::wstring& folder) { std::filesystem::create_directories(folder); }
    static void make_file(const std::wstring& path) {
        std::ofstream(std::filesystem::path(path)) << "x";
    }
    // The folders in a folder, in the order in which the system lists them.
    static std::vector<std::wstring> listed(const std::wstring& folder) {
        std::vector<std::wstring> names;
        WIN32_FIND_DATAW entry;
        const HANDLE find = FindFirstFileW((folder + L"*").c_str(), &entry);
        do {
            if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
                entry.cFileName[0] != L'.') {
                names.push_back(entry.cFileName);
            }
        } while (FindNextFileW(find, &entry));
        FindClose(find);
        return names;
    }

    std::uint32_t clean(const std::wstring& folder) {
        start_watching();
        return FARLO(DeleteVMMSFolder)(folder.c_str());
    }
};

const Expected entering{6, "Entering DeleteVMMSFolder"};
const Expected exiting{0, "Exiting DeleteVMMSFolder"};

std::string text(const std::wstring& path) {
    return {path.begin(), path.end()};
}

TEST_F(VmmsFolder, EmptySubfoldersGoAndTheFolderStays) {
    at_every_threshold([&] {
        const std::wstring root = make_root();
        make(root + L"a\\b");
        make(root + L"c");
        EXPECT_EQ(clean(root), 0u);
        EXPECT_TRUE(exists(root));
        EXPECT_TRUE(std::filesystem::is_empty(root));
        // Four folders, each entered before and left after those below it.
        expect_log({entering, entering, entering, exiting, exiting, entering, exiting, exiting});
    });
}

TEST_F(VmmsFolder, AnEmptyFolder) {
    at_every_threshold([&] {
        const std::wstring root = make_root();
        EXPECT_EQ(clean(root), 0u);
        EXPECT_TRUE(exists(root));
        expect_log({entering, exiting});
    });
}

TEST_F(VmmsFolder, FilesBesideFoldersAreLeft) {
    once([&] {
        const std::wstring root = make_root();
        make(root + L"a");
        make_file(root + L"file");
        EXPECT_EQ(clean(root), 0u);
        EXPECT_FALSE(exists(root + L"a"));
        EXPECT_TRUE(exists(root + L"file"));
    });
}

TEST_F(VmmsFolder, FoldersThatBeginWithADotAreLeftWithAllInThem) {
    at_every_threshold([&] {
        const std::wstring root = make_root();
        make(root + L".hidden\\below");
        make(root + L"..double");
        make(root + L"a.b");
        EXPECT_EQ(clean(root), 0u);
        EXPECT_TRUE(exists(root + L".hidden\\below"));
        EXPECT_TRUE(exists(root + L"..double"));
        EXPECT_FALSE(exists(root + L"a.b"));
        expect_log({entering, entering, exiting, exiting});
    });
}

// The name that the system below Wine has for a path, whose folder must be there.
std::wstring unix_path(const std::wstring& path) {
    using GetUnixName = char*(CDECL*)(const wchar_t*);
    const auto get_name = reinterpret_cast<GetUnixName>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    char* const name = get_name(path.c_str());
    const std::string text = name;
    HeapFree(GetProcessHeap(), 0, name);
    return {text.begin(), text.end()};
}

// A folder with a link, and the link's target, which holds a folder "below"; for the
// life of the object. Wine makes and removes no links, but shows those of the system
// below it as reparse points.
class LinkedFolder {
  public:
    // `link` is below the folder.
    explicit LinkedFolder(const std::wstring& link) {
        remove();  // what a killed test left
        m_link = root() + link;
        std::filesystem::create_directories(std::filesystem::path(m_link).parent_path());
        std::filesystem::create_directories(target() + L"below");
        run(L"ln", L"-s " + unix_path(target()) + L" " + unix_path(m_link));
        await(m_link, true);
        EXPECT_NE(GetFileAttributesW(m_link.c_str()) & FILE_ATTRIBUTE_REPARSE_POINT, 0u);
    }
    ~LinkedFolder() { remove(); }
    LinkedFolder(const LinkedFolder&) = delete;
    LinkedFolder& operator=(const LinkedFolder&) = delete;

    std::wstring root() const { return m_base + L"root\\"; }
    void expect_untouched() const {
        EXPECT_TRUE(exists(m_link));
        EXPECT_TRUE(exists(target() + L"below"));
    }

  private:
    std::wstring target() const { return m_base + L"target\\"; }
    static std::wstring temporary_folder() {
        wchar_t path[MAX_PATH] = L"";
        GetTempPathW(MAX_PATH, path);
        return path;
    }
    static void run(const std::wstring& program, const std::wstring& arguments) {
        std::wstring command = program + L" " + arguments;
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process{};
        EXPECT_TRUE(CreateProcessW((L"Z:\\bin\\" + program).c_str(), command.data(), nullptr,
                                   nullptr, FALSE, 0, nullptr, nullptr, &startup, &process));
    }
    // Such a process has no handle to wait for.
    static void await(const std::wstring& path, bool there) {
        for (int tries = 0; tries < 2000 && exists(path) != there; ++tries) {
            Sleep(5);
        }
        EXPECT_EQ(exists(path), there);
    }
    void remove() const {
        if (exists(m_base)) {
            run(L"rm", L"-rf " + unix_path(m_base));
            await(m_base, false);
        }
    }

    // Not among the folders of the test environment, which could not remove a link.
    const std::wstring m_base = temporary_folder() + L"farlo-links\\";
    std::wstring m_link;
};

TEST_F(VmmsFolder, LinksAreNeitherEnteredNorRemoved) {
    const LinkedFolder linked(L"link");
    at_every_threshold([&] {
        make(linked.root() + L"a");
        EXPECT_EQ(clean(linked.root()), 0u);
        EXPECT_FALSE(exists(linked.root() + L"a"));
        linked.expect_untouched();
        expect_log({entering, entering, exiting, exiting});
    });
}

// The folder that a link is in cannot be removed.
TEST_F(VmmsFolder, ALinkBelowKeepsItsFolder) {
    const LinkedFolder linked(L"a\\link");
    at_every_threshold([&] {
        EXPECT_EQ(clean(linked.root()), 0x80070091u);
        linked.expect_untouched();
        expect_log({entering,
                    entering,
                    exiting,
                    {0, "DeleteVMMSFolder:RemoveDirectory failed for " + text(linked.root()) +
                            "a\\ Error: 0x91.\n"}});
    });
}

// Junctions and mounted volumes, whichever kind of reparse point they are.
TEST_F(VmmsFolder, ReparsePointsAreNeitherEnteredNorRemoved) {
    for (const DWORD tag : {IO_REPARSE_TAG_MOUNT_POINT, IO_REPARSE_TAG_SYMLINK}) {
        at_every_threshold([&] {
            const std::wstring root = make_root();
            make(root + L"a\\below");
            make(root + L"b\\below");
            ASSERT_EQ(listed(root), (std::vector<std::wstring>{L"a", L"b"}));
            const auto mark = [&](WIN32_FIND_DATAW* entry) {
                if (std::wcscmp(entry->cFileName, L"a") == 0) {
                    entry->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
                    entry->dwReserved0 = tag;
                }
            };
            const StandIn<decltype(FindNextFileW)> next(
                dll().module(), "FindNextFileW", [&](HANDLE find, WIN32_FIND_DATAW* entry) -> BOOL {
                    const BOOL found = next.real(find, entry);
                    mark(entry);
                    return found;
                });
            EXPECT_EQ(clean(root), 0u);
            EXPECT_TRUE(exists(root + L"a\\below"));
            EXPECT_FALSE(exists(root + L"b"));
            expect_log({entering, entering, entering, exiting, exiting, exiting});
        });
    }
}

// A file in the second of three folders: the first is gone, the third is left,
// and no folder above writes its exit line.
TEST_F(VmmsFolder, TheFirstFolderThatCannotBeRemovedEndsTheWalk) {
    at_every_threshold([&] {
        const std::wstring root = make_root();
        for (const wchar_t* name : {L"one", L"two", L"three"}) {
            make(root + L"top\\" + name);
        }
        const std::wstring top = root + L"top\\";
        const std::vector<std::wstring> order = listed(top);
        ASSERT_EQ(order.size(), 3u);
        make_file(top + order[1] + L"\\file");
        EXPECT_EQ(clean(root), 0x80070091u);
        EXPECT_FALSE(exists(top + order[0]));
        EXPECT_TRUE(exists(top + order[1] + L"\\file"));
        EXPECT_TRUE(exists(top + order[2]));
        expect_log({entering,
                    entering,
                    entering,
                    exiting,
                    entering,
                    exiting,
                    {0, "DeleteVMMSFolder:RemoveDirectory failed for " + text(top + order[1]) +
                            "\\ Error: 0x91.\n"},
                    {0, "DeleteVMMSFolder failed for " + text(top) + " Error: 0x0.\n"}});
    });
}

TEST_F(VmmsFolder, AFolderThatIsNotThere) {
    at_every_threshold([&] {
        const std::wstring path = make_root() + L"none\\";
        EXPECT_EQ(clean(path), 0x80070003u);
        expect_log(
            {entering,
             {0, "DeleteVMMSFolder: FindFirstFile failed for " + text(path) + "* Error: 0x3.\n"},
             exiting});
    });
}

// One that cannot be listed below the folder: its own lines, then its parent's.
TEST_F(VmmsFolder, ASubfolderThatCannotBeListed) {
    at_every_threshold([&] {
        const std::wstring root = make_root();
        make(root + L"a");
        const Failure<decltype(FindFirstFileW)> find(dll().module(), "FindFirstFileW",
                                                     {.call = 2, .last_error = ERROR_ACCESS_DENIED},
                                                     INVALID_HANDLE_VALUE);
        EXPECT_EQ(clean(root), 0x80070005u);
        EXPECT_TRUE(exists(root + L"a"));
        expect_log(
            {entering,
             entering,
             {0, "DeleteVMMSFolder: FindFirstFile failed for " + text(root) + "a\\* Error: 0x5.\n"},
             exiting,
             {0, "DeleteVMMSFolder failed for " + text(root) + "a\\ Error: 0x0.\n"}});
    });
}

TEST_F(VmmsFolder, ErrorsOfListingAndOfRemoving) {
    once([&] {
        const std::wstring root = make_root();
        make(root + L"a");
        for (const auto& each : system_errors) {
            SCOPED_TRACE(each.logged);
            const std::string error = std::string(" Error: ") + each.logged + ".\n";
            {
                const Failure<decltype(FindFirstFileW)> find(dll().module(), "FindFirstFileW",
                                                             {.last_error = each.error},
                                                             INVALID_HANDLE_VALUE);
                EXPECT_EQ(clean(root), each.status);
                expect_log(
                    {entering,
                     {0, "DeleteVMMSFolder: FindFirstFile failed for " + text(root) + "*" + error},
                     exiting});
            }
            const Failure<decltype(RemoveDirectoryW)> remove(dll().module(), "RemoveDirectoryW",
                                                             {.last_error = each.error}, FALSE);
            EXPECT_EQ(clean(root), each.status);
            expect_log(
                {entering,
                 entering,
                 exiting,
                 {0, "DeleteVMMSFolder:RemoveDirectory failed for " + text(root) + "a\\" + error}});
        }
        EXPECT_TRUE(exists(root + L"a"));
    });
}

// Whatever ends a listing, it has ended.
TEST_F(VmmsFolder, AListingThatBreaksOff) {
    at_every_threshold([&] {
        const std::wstring root = make_root();
        make(root + L"a");
        make(root + L"b");
        // After "." and "..".
        ASSERT_EQ(listed(root), (std::vector<std::wstring>{L"a", L"b"}));
        const Failure<decltype(FindNextFileW)> next(
            dll().module(), "FindNextFileW", {.call = 5, .last_error = ERROR_ACCESS_DENIED}, FALSE);
        EXPECT_EQ(clean(root), 0u);
        EXPECT_FALSE(exists(root + L"a"));
        EXPECT_TRUE(exists(root + L"b"));
        expect_log({entering, entering, exiting, exiting});
    });
}

TEST_F(VmmsFolder, EveryAllocationThatFails) {
    at_every_allocation([&] {
        const std::wstring root = make_root();
        make(root + L"a\\b");
        EXPECT_EQ(clean(root), 0u);
        EXPECT_TRUE(std::filesystem::is_empty(root));
        expect_log({entering, entering, entering, exiting, exiting, exiting});
    });
}

TEST_F(VmmsFolder, EveryListingIsClosed) {
    once([&] {
        const std::wstring root = make_root();
        make(root + L"a\\b");
        make_file(root + L"a\\b\\file");
        unsigned open = 0;
        const StandIn<decltype(FindFirstFileW)> first(
            dll().module(), "FindFirstFileW",
            [&](const wchar_t* pattern, WIN32_FIND_DATAW* entry) -> HANDLE {
                ++open;
                return first.real(pattern, entry);
            });
        const StandIn<decltype(FindClose)> close(dll().module(), "FindClose",
                                                 [&](HANDLE find) -> BOOL {
                                                     --open;
                                                     return close.real(find);
                                                 });
        EXPECT_EQ(clean(root), 0x80070091u);
        EXPECT_EQ(open, 0u);
        EXPECT_EQ(first.calls(), 3u);
    });
}

TEST_F(VmmsFolder, NullAndEmptyPathsNameNoFolder) {
    at_every_threshold([&] {
        const Expected refused{0,
                               "DeleteVMMSFolder() failed , NULL folder path, error=(0x80070057)"};
        EXPECT_EQ(FARLO(DeleteVMMSFolder)(nullptr), 0x80070057u);
        expect_log({entering, refused});
        EXPECT_EQ(clean(L""), 0x80070057u);
        expect_log({entering, refused});
    });
}

const Expected too_long{0,
                        "DeleteVMMSFolder() failed , folder path is too long, error=(0x80070057)"};

TEST_F(VmmsFolder, APathThatDoesNotFit) {
    at_every_threshold([&] {
        EXPECT_EQ(clean(L"C:\\" + std::wstring(300, L'p') + L"\\"), 0x80070057u);
        expect_log({entering, too_long});
    });
}

// A subfolder goes when its listing's pattern, one character more than its path,
// fits 259 characters.
TEST_F(VmmsFolder, ASubfolderWhosePathJustFitsAndThreeThatDoNot) {
    for (const std::size_t length : {258u, 259u, 260u, 261u}) {
        SCOPED_TRACE(length);
        at_every_threshold([&] {
            const std::wstring root = make_root();
            const std::wstring subfolder = root + std::wstring(length - 1 - root.size(), L's');
            const std::wstring long_name = L"\\\\?\\" + subfolder;
            ASSERT_TRUE(CreateDirectoryW(long_name.c_str(), nullptr)) << GetLastError();
            const bool fits = length == 258;
            EXPECT_EQ(clean(root), fits ? 0u : 0x80070057u);
            EXPECT_EQ(exists(long_name), !fits);
            const Expected failed{0, "DeleteVMMSFolder failed for " + text(subfolder) +
                                         "\\ Error: 0x0.\n"};
            if (fits) {
                expect_log({entering, entering, exiting, exiting});
            } else if (length == 259) {
                expect_log({entering, entering, too_long, failed});
            } else {
                expect_log({entering, too_long});
            }
            RemoveDirectoryW(long_name.c_str());
        });
    }
}

TEST_F(VmmsFolder, ATreeOf60Folders) {
    once([&] {
        const std::wstring root = make_root();
        std::wstring deepest = root;
        for (int depth = 0; depth < 60; ++depth) {
            deepest += L"d\\";
        }
        make(deepest);
        ASSERT_TRUE(exists(deepest));
        EXPECT_EQ(clean(root), 0u);
        EXPECT_TRUE(std::filesystem::is_empty(root));
        std::vector<Expected> lines(61, entering);
        lines.insert(lines.end(), 61, exiting);
        expect_log(lines);
    });
}

// Folders of one character, down beyond what a path of 259 characters can name:
// the walk goes down to the last that it can, and removes nothing.
TEST_F(VmmsFolder, ATreePastThePathLimit) {
    once([&] {
        const std::wstring root = make_root();
        std::wstring deepest = L"\\\\?\\" + root;
        std::vector<std::wstring> made;
        while (deepest.size() < 4 + 270) {
            deepest += L"d";
            ASSERT_TRUE(CreateDirectoryW(deepest.c_str(), nullptr)) << GetLastError();
            made.push_back(deepest);
            deepest += L"\\";
        }
        EXPECT_EQ(clean(root), 0x80070057u);
        EXPECT_TRUE(exists(made.back()));

        // The folder and each subfolder whose path fits are entered; the last is
        // refused for its pattern or for the path of the one below it.
        const std::size_t below = (259 - root.size()) / 2;
        std::vector<Expected> lines(below + 1, entering);
        lines.push_back(too_long);
        std::wstring path = root + std::wstring(2 * below, L'd');
        for (std::size_t i = 0; i < below; ++i) {
            path[root.size() + 2 * i + 1] = L'\\';
        }
        for (std::size_t depth = below; depth > 0; --depth) {
            lines.push_back({0, "DeleteVMMSFolder failed for " +
                                    text(path.substr(0, root.size() + 2 * depth)) +
                                    " Error: 0x0.\n"});
        }
        expect_log(lines);
        for (auto folder = made.rbegin(); folder != made.rend(); ++folder) {
            EXPECT_TRUE(RemoveDirectoryW(folder->c_str()));
        }
    });
}

}  // namespace
