// Directory search of the POSIX build, with the pattern rules of the Windows
// one as the readers use them: the part after the last '/' is matched
// against each whole name in the directory before it ('*' is any run of
// bytes, none included; '?' is exactly one byte; ASCII letters match
// without regard to case). "." and ".." are never returned.
//
// FindFirstFileA reads all matches at once, in byte order, and the handle
// walks that list. Open searches are kept in a table so that a handle that
// is not one of them (or one already closed) makes the call fail.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "platform/posix/win32_posix.h"

namespace trova::platform {
namespace {

// cFileName holds at most this many bytes before its terminating zero;
// longer names cannot be returned and are skipped.
constexpr size_t kMaxNameLength = sizeof(WIN32_FIND_DATAA::cFileName) - 1;

struct Found {
    std::string name;
    DWORD attributes;
};

struct Search {
    std::vector<Found> found;
    size_t next = 0;  // index of the entry the next FindNextFileA returns
};

struct SearchTable {
    std::mutex mutex;
    std::vector<Search *> open;  // guarded by `mutex`
};

SearchTable &Searches() {
    static SearchTable *table = new SearchTable;
    return *table;
}

char FoldCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Greedy match with backtracking to the last '*': each '*' first takes
// nothing and grows by one byte whenever the rest fails to match.
bool MatchesPattern(const char *pattern, const char *name) {
    const char *afterStar = nullptr;  // pattern position just after the last '*'
    const char *starTook = nullptr;   // end of the bytes that '*' takes so far
    while (*name != '\0') {
        if (*pattern == '*') {
            afterStar = ++pattern;
            starTook = name;
        } else if (*pattern != '\0' && (*pattern == '?' || FoldCase(*pattern) == FoldCase(*name))) {
            ++pattern;
            ++name;
        } else if (afterStar != nullptr) {
            pattern = afterStar;
            name = ++starTook;
        } else {
            return false;
        }
    }
    while (*pattern == '*') ++pattern;
    return *pattern == '\0';
}

bool IsDirectory(DIR *directory, const dirent *entry) {
    if (entry->d_type == DT_DIR) return true;
    if (entry->d_type != DT_UNKNOWN && entry->d_type != DT_LNK) return false;
    // The type is not in the entry, or it is a link: ask about its target.
    struct stat info;
    return fstatat(dirfd(directory), entry->d_name, &info, 0) == 0 && S_ISDIR(info.st_mode);
}

void Fill(const Found &found, WIN32_FIND_DATAA *data) {
    data->dwFileAttributes = found.attributes;
    std::memcpy(data->cFileName, found.name.c_str(), found.name.size() + 1);
}

}  // namespace
}  // namespace trova::platform

using namespace trova::platform;

HANDLE FindFirstFileA(LPCSTR pattern, WIN32_FIND_DATAA *data) {
    if (pattern == nullptr || data == nullptr) return INVALID_HANDLE_VALUE;
    const char *slash = std::strrchr(pattern, '/');
    std::string directoryPath = ".";
    const char *namePattern = pattern;
    if (slash != nullptr) {
        directoryPath.assign(pattern, slash == pattern ? 1 : static_cast<size_t>(slash - pattern));
        namePattern = slash + 1;
    }

    DIR *directory = opendir(directoryPath.c_str());
    if (directory == nullptr) return INVALID_HANDLE_VALUE;
    std::vector<Found> found;
    while (const dirent *entry = readdir(directory)) {
        const char *name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
        if (std::strlen(name) > kMaxNameLength || !MatchesPattern(namePattern, name)) continue;
        const DWORD attributes =
            IsDirectory(directory, entry) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
        found.push_back({name, attributes});
    }
    closedir(directory);
    if (found.empty()) return INVALID_HANDLE_VALUE;

    std::sort(found.begin(), found.end(),
              [](const Found &a, const Found &b) { return a.name < b.name; });
    auto *search = new Search{std::move(found), 1};
    Fill(search->found[0], data);
    SearchTable &table = Searches();
    std::lock_guard<std::mutex> lock(table.mutex);
    table.open.push_back(search);
    return search;
}

BOOL FindNextFileA(HANDLE handle, WIN32_FIND_DATAA *data) {
    SearchTable &table = Searches();
    std::lock_guard<std::mutex> lock(table.mutex);
    const auto it = std::find(table.open.begin(), table.open.end(), handle);
    if (it == table.open.end() || data == nullptr) return FALSE;
    Search &search = **it;
    if (search.next >= search.found.size()) return FALSE;
    Fill(search.found[search.next++], data);
    return TRUE;
}

BOOL FindClose(HANDLE handle) {
    SearchTable &table = Searches();
    std::lock_guard<std::mutex> lock(table.mutex);
    const auto it = std::find(table.open.begin(), table.open.end(), handle);
    if (it == table.open.end()) return FALSE;
    delete *it;
    table.open.erase(it);
    return TRUE;
}
