// DeleteVMMSFolder, with real folders.
#include "support/farlo_test.h"
#include "support/narrow_string.h"
#include "support/service_names.h"
#include "volume/system_errors.h"

#include <fstream>

namespace {

using namespace support;

bool exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

class DeleteVMMSFolder : public FarloTest {
  protected:
    DeleteVMMSFolder() { connects = false; }

    // Makes an empty folder for one run. Its path ends in a backslash.
    std::wstring make_root() {
        const std::filesystem::path folder = environment().folder() / L"vmms";
        std::filesystem::remove_all(folder);
        std::filesystem::create_directory(folder);
        return folder.wstring() + L"\\";
    }

    static void make_folder(const std::wstring& folder) {
        std::filesystem::create_directories(folder);
    }
    static void make_file(const std::wstring& path) {
        std::ofstream(std::filesystem::path(path)) << "x";
    }
    // The subfolders in the order in which the system lists them.
    static std::vector<std::wstring> subfolders(const std::wstring& folder) {
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

    std::uint32_t delete_folders(const std::wstring& folder) {
        start_watching();
        return FARLO(DeleteVMMSFolder)(folder.c_str());
    }
};

const Expected entering{6, "Entering DeleteVMMSFolder"};
const Expected exiting{0, "Exiting DeleteVMMSFolder"};

TEST_F(DeleteVMMSFolder, RemovesEmptySubfoldersOnly) {
    at_every_threshold([&] {
        const std::wstring root = make_root();
        make_folder(root + L"a\\b");
        make_folder(root + L"c");
        EXPECT_EQ(delete_folders(root), FARLO_SUCCESS);
        EXPECT_TRUE(exists(root));
        EXPECT_TRUE(std::filesystem::is_empty(root));
        // Four folders, each entered before and exited after its subfolders.
        expect_log({entering, entering, entering, exiting, exiting, entering, exiting, exiting});
    });
}

TEST_F(DeleteVMMSFolder, KeepsEmptyFolderItself) {
    at_every_threshold([&] {
        const std::wstring root = make_root();
        EXPECT_EQ(delete_folders(root), FARLO_SUCCESS);
        EXPECT_TRUE(exists(root));
        expect_log({entering, exiting});
    });
}

TEST_F(DeleteVMMSFolder, KeepsFiles) {
    once([&] {
        const std::wstring root = make_root();
        make_folder(root + L"a");
        make_file(root + L"file");
        EXPECT_EQ(delete_folders(root), FARLO_SUCCESS);
        EXPECT_FALSE(exists(root + L"a"));
        EXPECT_TRUE(exists(root + L"file"));
    });
}

TEST_F(DeleteVMMSFolder, KeepsFoldersThatBeginWithDotAndTheirSubfolders) {
    at_every_threshold([&] {
        const std::wstring root = make_root();
        make_folder(root + L".hidden\\below");
        make_folder(root + L"..double");
        make_folder(root + L"a.b");
        EXPECT_EQ(delete_folders(root), FARLO_SUCCESS);
        EXPECT_TRUE(exists(root + L".hidden\\below"));
        EXPECT_TRUE(exists(root + L"..double"));
        EXPECT_FALSE(exists(root + L"a.b"));
        expect_log({entering, entering, exiting, exiting});
    });
}

// The host system's path for one of Wine's. The path's folder must exist.
std::wstring host_path(const std::wstring& path) {
    using GetUnixName = char*(CDECL*)(const wchar_t*);
    const auto get_name = reinterpret_cast<GetUnixName>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
    char* const name = get_name(path.c_str());
    const std::string path_of_host = name;
    HeapFree(GetProcessHeap(), 0, name);
    return {path_of_host.begin(), path_of_host.end()};
}

// A folder with a link, and the link's target, which contains a folder "below". Both are removed
// with the object. Wine cannot make or remove links, but shows those of the host system as
// reparse points.
class LinkedFolder {
  public:
    // `link` is the link's path relative to the folder.
    explicit LinkedFolder(const std::wstring& link) {
        remove();  // left over from a test that was killed
        m_link = root() + link;
        std::filesystem::create_directories(std::filesystem::path(m_link).parent_path());
        std::filesystem::create_directories(target() + L"below");
        run(L"ln", L"-s " + host_path(target()) + L" " + host_path(m_link));
        await(m_link, true);
        EXPECT_NE(GetFileAttributesW(m_link.c_str()) & FILE_ATTRIBUTE_REPARSE_POINT, 0u);
    }
    ~LinkedFolder() { remove(); }
    LinkedFolder(const LinkedFolder&) = delete;
    LinkedFolder& operator=(const LinkedFolder&) = delete;

    std::wstring root() const { return m_base + L"root\\"; }
    void expect_link_and_target() const {
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
    // A program of the host system. Wine provides no handle to wait for its end.
    static void run(const std::wstring& program, const std::wstring& arguments) {
        std::wstring command = program + L" " + arguments;
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process{};
        EXPECT_TRUE(CreateProcessW((L"Z:\\bin\\" + program).c_str(), command.data(), nullptr,
                                   nullptr, FALSE, 0, nullptr, nullptr, &startup, &process));
    }
    // Waits until the path exists, or no longer exists.
    static void await(const std::wstring& path, bool existing) {
        for (int tries = 0; tries < 2000 && exists(path) != existing; ++tries) {
            Sleep(5);
        }
        EXPECT_EQ(exists(path), existing);
    }
    void remove() const {
        if (exists(m_base)) {
            run(L"rm", L"-rf " + host_path(m_base));
            await(m_base, false);
        }
    }

    // Not in the folder of the test environment, which cannot remove links.
    const std::wstring m_base = temporary_folder() + L"farlo-links\\";
    std::wstring m_link;
};

TEST_F(DeleteVMMSFolder, KeepsLinksAndTheirTargets) {
    const LinkedFolder linked(L"link");
    at_every_threshold([&] {
        make_folder(linked.root() + L"a");
        EXPECT_EQ(delete_folders(linked.root()), FARLO_SUCCESS);
        EXPECT_FALSE(exists(linked.root() + L"a"));
        linked.expect_link_and_target();
        expect_log({entering, entering, exiting, exiting});
    });
}

TEST_F(DeleteVMMSFolder, FailsForSubfolderThatContainsLink) {
    const LinkedFolder linked(L"a\\link");
    at_every_threshold([&] {
        EXPECT_EQ(delete_folders(linked.root()), system_folder_not_empty);
        linked.expect_link_and_target();
        expect_log({entering,
                    entering,
                    exiting,
                    {0, "DeleteVMMSFolder:RemoveDirectory failed for " +
                            narrow_string(linked.root()) + "a\\ Error: 0x91.\n"}});
    });
}

// Such as junctions and mounted volumes.
TEST_F(DeleteVMMSFolder, KeepsReparsePointsOfAnyKind) {
    for (const DWORD tag : {IO_REPARSE_TAG_MOUNT_POINT, IO_REPARSE_TAG_SYMLINK}) {
        at_every_threshold([&] {
            const std::wstring root = make_root();
            make_folder(root + L"a\\below");
            make_folder(root + L"b\\below");
            ASSERT_EQ(subfolders(root), (std::vector<std::wstring>{L"a", L"b"}));
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
            EXPECT_EQ(delete_folders(root), FARLO_SUCCESS);
            EXPECT_TRUE(exists(root + L"a\\below"));
            EXPECT_FALSE(exists(root + L"b"));
            expect_log({entering, entering, entering, exiting, exiting, exiting});
        });
    }
}

// The second of three folders contains a file. The folders above it log no exit line.
TEST_F(DeleteVMMSFolder, StopsAtFirstFolderThatCannotBeRemoved) {
    at_every_threshold([&] {
        const std::wstring root = make_root();
        for (const wchar_t* name : {L"one", L"two", L"three"}) {
            make_folder(root + L"top\\" + name);
        }
        const std::wstring top = root + L"top\\";
        const std::vector<std::wstring> order = subfolders(top);
        ASSERT_EQ(order.size(), 3u);
        make_file(top + order[1] + L"\\file");
        EXPECT_EQ(delete_folders(root), system_folder_not_empty);
        EXPECT_FALSE(exists(top + order[0]));
        EXPECT_TRUE(exists(top + order[1] + L"\\file"));
        EXPECT_TRUE(exists(top + order[2]));
        expect_log({entering,
                    entering,
                    entering,
                    exiting,
                    entering,
                    exiting,
                    {0, "DeleteVMMSFolder:RemoveDirectory failed for " +
                            narrow_string(top + order[1]) + "\\ Error: 0x91.\n"},
                    {0, "DeleteVMMSFolder failed for " + narrow_string(top) + " Error: 0x0.\n"}});
    });
}

TEST_F(DeleteVMMSFolder, FailsForMissingFolder) {
    at_every_threshold([&] {
        const std::wstring path = make_root() + L"none\\";
        EXPECT_EQ(delete_folders(path), system_path_not_found);
        expect_log({entering,
                    {0, "DeleteVMMSFolder: FindFirstFile failed for " + narrow_string(path) +
                            "* Error: 0x3.\n"},
                    exiting});
    });
}

// The subfolder's lines are followed by one of its parent's.
TEST_F(DeleteVMMSFolder, FailsForSubfolderThatCannotBeListed) {
    at_every_threshold([&] {
        const std::wstring root = make_root();
        make_folder(root + L"a");
        const Failure<decltype(FindFirstFileW)> find(dll().module(), "FindFirstFileW",
                                                     {.call = 2, .last_error = ERROR_ACCESS_DENIED},
                                                     INVALID_HANDLE_VALUE);
        EXPECT_EQ(delete_folders(root), system_access_denied);
        EXPECT_TRUE(exists(root + L"a"));
        expect_log(
            {entering,
             entering,
             {0, "DeleteVMMSFolder: FindFirstFile failed for " + narrow_string(root) +
                     "a\\* Error: 0x5.\n"},
             exiting,
             {0, "DeleteVMMSFolder failed for " + narrow_string(root) + "a\\ Error: 0x0.\n"}});
    });
}

TEST_F(DeleteVMMSFolder, ReturnsErrorOfListingAndOfRemoving) {
    once([&] {
        const std::wstring root = make_root();
        make_folder(root + L"a");
        for (const auto& [error, number, status] : system_errors) {
            SCOPED_TRACE(number);
            const std::string error_logged = std::string(" Error: ") + number + ".\n";
            {
                const Failure<decltype(FindFirstFileW)> find(
                    dll().module(), "FindFirstFileW", {.last_error = error}, INVALID_HANDLE_VALUE);
                EXPECT_EQ(delete_folders(root), status);
                expect_log({entering,
                            {0, "DeleteVMMSFolder: FindFirstFile failed for " +
                                    narrow_string(root) + "*" + error_logged},
                            exiting});
            }
            const Failure<decltype(RemoveDirectoryW)> remove(dll().module(), "RemoveDirectoryW",
                                                             {.last_error = error}, FALSE);
            EXPECT_EQ(delete_folders(root), status);
            expect_log({entering,
                        entering,
                        exiting,
                        {0, "DeleteVMMSFolder:RemoveDirectory failed for " + narrow_string(root) +
                                "a\\" + error_logged}});
        }
        EXPECT_TRUE(exists(root + L"a"));
    });
}

TEST_F(DeleteVMMSFolder, TreatsFailedListingAsItsEnd) {
    at_every_threshold([&] {
        const std::wstring root = make_root();
        make_folder(root + L"a");
        make_folder(root + L"b");
        // Calls 1 and 2 find ".." and "a", calls 3 and 4 list "a", and call 5 would find "b".
        ASSERT_EQ(subfolders(root), (std::vector<std::wstring>{L"a", L"b"}));
        const Failure<decltype(FindNextFileW)> next(
            dll().module(), "FindNextFileW", {.call = 5, .last_error = ERROR_ACCESS_DENIED}, FALSE);
        EXPECT_EQ(delete_folders(root), FARLO_SUCCESS);
        EXPECT_FALSE(exists(root + L"a"));
        EXPECT_TRUE(exists(root + L"b"));
        expect_log({entering, entering, exiting, exiting});
    });
}

TEST_F(DeleteVMMSFolder, SucceedsWhenAnyAllocationFails) {
    at_every_allocation([&] {
        const std::wstring root = make_root();
        make_folder(root + L"a\\b");
        EXPECT_EQ(delete_folders(root), FARLO_SUCCESS);
        EXPECT_TRUE(std::filesystem::is_empty(root));
        expect_log({entering, entering, entering, exiting, exiting, exiting});
    });
}

TEST_F(DeleteVMMSFolder, ClosesEveryListing) {
    once([&] {
        const std::wstring root = make_root();
        make_folder(root + L"a\\b");
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
        EXPECT_EQ(delete_folders(root), system_folder_not_empty);
        EXPECT_EQ(open, 0u);
        EXPECT_EQ(first.calls(), 3u);
    });
}

TEST_F(DeleteVMMSFolder, RejectsNullAndEmptyPaths) {
    at_every_threshold([&] {
        const Expected refused{0,
                               "DeleteVMMSFolder() failed , NULL folder path, error=(0x80070057)"};
        EXPECT_EQ(FARLO(DeleteVMMSFolder)(nullptr), FARLO_INVALID_ARGUMENT);
        expect_log({entering, refused});
        EXPECT_EQ(delete_folders(L""), FARLO_INVALID_ARGUMENT);
        expect_log({entering, refused});
    });
}

const Expected too_long{0,
                        "DeleteVMMSFolder() failed , folder path is too long, error=(0x80070057)"};

TEST_F(DeleteVMMSFolder, RejectsPathThatIsTooLong) {
    at_every_threshold([&] {
        EXPECT_EQ(delete_folders(L"C:\\" + std::wstring(300, L'p') + L"\\"),
                  FARLO_INVALID_ARGUMENT);
        expect_log({entering, too_long});
    });
}

// The pattern for listing a subfolder is one character longer than its path and has at most 259
// characters.
TEST_F(DeleteVMMSFolder, RemovesSubfolderOnlyIfPathHasAtMost258Characters) {
    for (const std::size_t length : {258u, 259u, 260u, 261u}) {
        SCOPED_TRACE(length);
        at_every_threshold([&] {
            const std::wstring root = make_root();
            const std::wstring subfolder = root + std::wstring(length - 1 - root.size(), L's');
            const std::wstring long_name = L"\\\\?\\" + subfolder;
            ASSERT_TRUE(CreateDirectoryW(long_name.c_str(), nullptr)) << GetLastError();
            const bool fits = length == 258;
            EXPECT_EQ(delete_folders(root), fits ? FARLO_SUCCESS : FARLO_INVALID_ARGUMENT);
            EXPECT_EQ(exists(long_name), !fits);
            const Expected failed{0, "DeleteVMMSFolder failed for " + narrow_string(subfolder) +
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

TEST_F(DeleteVMMSFolder, Removes60NestedFolders) {
    once([&] {
        const std::wstring root = make_root();
        std::wstring deepest = root;
        for (int depth = 0; depth < 60; ++depth) {
            deepest += L"d\\";
        }
        make_folder(deepest);
        ASSERT_TRUE(exists(deepest));
        EXPECT_EQ(delete_folders(root), FARLO_SUCCESS);
        EXPECT_TRUE(std::filesystem::is_empty(root));
        std::vector<Expected> lines(61, entering);
        lines.insert(lines.end(), 61, exiting);
        expect_log(lines);
    });
}

// The names have one character each. Folders are entered down to the last one whose path fits into
// 259 characters; none is removed.
TEST_F(DeleteVMMSFolder, FailsForFoldersNestedBeyondPathLimit) {
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
        EXPECT_EQ(delete_folders(root), FARLO_INVALID_ARGUMENT);
        EXPECT_TRUE(exists(made.back()));

        // The folder and each subfolder whose path fits are entered. The last one fails because its
        // pattern, or the path of its subfolder, is too long.
        const std::size_t below = (259 - root.size()) / 2;
        std::vector<Expected> lines(below + 1, entering);
        lines.push_back(too_long);
        std::wstring path = root + std::wstring(2 * below, L'd');
        for (std::size_t i = 0; i < below; ++i) {
            path[root.size() + 2 * i + 1] = L'\\';
        }
        for (std::size_t depth = below; depth > 0; --depth) {
            lines.push_back({0, "DeleteVMMSFolder failed for " +
                                    narrow_string(path.substr(0, root.size() + 2 * depth)) +
                                    " Error: 0x0.\n"});
        }
        expect_log(lines);
        for (auto folder = made.rbegin(); folder != made.rend(); ++folder) {
            EXPECT_TRUE(RemoveDirectoryW(folder->c_str()));
        }
    });
}

}  // namespace
