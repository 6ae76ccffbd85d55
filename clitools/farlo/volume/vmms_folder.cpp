#include "volume/vmms_folder.h"

#include "api/farlo.h"
#include "core/trace_log.h"
#include "volume/hresult.h"

#include <shlwapi.h>

#include <cwchar>

namespace farlo {
namespace {

constexpr std::size_t path_capacity = 260;

// Shared by all levels of the walk, of which there may be more than a hundred, and
// therefore not on the stack of each.
struct Workspace {
    wchar_t pattern[path_capacity];
    WIN32_FIND_DATAW entry;
};

// A directory listing; closed when it goes out of scope.
class Listing {
  public:
    explicit Listing(Workspace& workspace)
        : m_entry(workspace.entry), m_find(FindFirstFileW(workspace.pattern, &m_entry)) {}
    ~Listing() {
        if (m_find != INVALID_HANDLE_VALUE) {
            FindClose(m_find);
        }
    }
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;

    explicit operator bool() const { return m_find != INVALID_HANDLE_VALUE; }
    bool next() { return FindNextFileW(m_find, &m_entry) != FALSE; }

  private:
    WIN32_FIND_DATAW& m_entry;
    HANDLE m_find;
};

// A reparse point (junction, mounted volume, link) is skipped: its contents belong to
// another folder.
bool is_subfolder(const WIN32_FIND_DATAW& entry) {
    return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
           (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0 &&
           entry.cFileName[0] != L'.';
}

std::uint32_t refuse_long_path() {
    log(0, L"DeleteVMMSFolder() failed , folder path is too long, error=(0x%x)",
        FARLO_INVALID_ARGUMENT);
    return FARLO_INVALID_ARGUMENT;
}

std::uint32_t empty_folder(const wchar_t* folder, Workspace& workspace);

// Empties one subfolder and removes it.
std::uint32_t remove_subfolder(const wchar_t* folder, Workspace& workspace) {
    wchar_t subfolder[path_capacity];
    const int length =
        _snwprintf(subfolder, path_capacity, L"%ws%ws\\", folder, workspace.entry.cFileName);
    if (length < 0 || static_cast<std::size_t>(length) >= path_capacity) {
        return refuse_long_path();
    }
    const std::uint32_t status = empty_folder(subfolder, workspace);
    if (status != FARLO_SUCCESS) {
        // KEPT: a zero instead of the error; administrators search for this wording.
        log(0, L"DeleteVMMSFolder failed for %ws Error: 0x%x.\n", subfolder, 0);
        return status;
    }
    if (!RemoveDirectoryW(subfolder)) {
        const DWORD error = GetLastError();
        log(0, L"DeleteVMMSFolder:RemoveDirectory failed for %ws Error: 0x%x.\n", subfolder, error);
        return hresult_of(static_cast<LONG>(error));
    }
    return FARLO_SUCCESS;
}

// Depth first. Ends where a path exceeds path_capacity characters.
std::uint32_t empty_folder(const wchar_t* folder, Workspace& workspace) {
    log(6, L"Entering DeleteVMMSFolder");
    // An empty path would mean the process's current folder.
    if (folder == nullptr || *folder == L'\0') {
        log(0, L"DeleteVMMSFolder() failed , NULL folder path, error=(0x%x)",
            FARLO_INVALID_ARGUMENT);
        return FARLO_INVALID_ARGUMENT;
    }
    if (PathCombineW(workspace.pattern, folder, L"*") == nullptr) {
        return refuse_long_path();
    }
    Listing listing(workspace);
    if (!listing) {
        const DWORD error = GetLastError();
        log(0, L"DeleteVMMSFolder: FindFirstFile failed for %ws Error: 0x%x.\n", workspace.pattern,
            error);
        log(0, L"Exiting DeleteVMMSFolder");
        return hresult_of(static_cast<LONG>(error));
    }
    do {
        if (is_subfolder(workspace.entry)) {
            const std::uint32_t status = remove_subfolder(folder, workspace);
            if (status != FARLO_SUCCESS) {
                return status;
            }
        }
    } while (listing.next());
    log(0, L"Exiting DeleteVMMSFolder");
    return FARLO_SUCCESS;
}

}  // namespace

std::uint32_t DeleteVMMSFolder(const wchar_t* folder) {
    Workspace workspace;
    return empty_folder(folder, workspace);
}

}  // namespace farlo
