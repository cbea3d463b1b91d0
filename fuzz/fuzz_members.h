// What the reader fuzz targets share: a scratch directory and the member
// files of the recording an input describes.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "files/file_table.h"
#include "fuzz_input.h"
#include "trova/host.h"

namespace trova::fuzz {

// Made once per process under $TMPDIR (else /tmp; a campaign puts it on a
// memory file system); the log is off and the completion pause 0.
inline const std::string &Directory() {
    static const std::string dir = [] {
        const char *base = std::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr && *base ? base : "/tmp") +
                              "/trova-fuzz-XXXXXX";
        const char *made = mkdtemp(pattern.data());
        if (made == nullptr) std::abort();
        TrovaSetLogDirectory(nullptr);
        TrovaSetCompletionPause(0);
        return std::string(made);
    }();
    return dir;
}

constexpr int kMaxMembers = 4;

// Writes the input's files as fz.001<extension> to fz.004<extension>
// (removing those it does not have) and forgets the cached file table, as
// every input is a new recording. Returns the path of the first member.
inline std::string WriteMembers(const std::vector<std::vector<uint8_t>> &files,
                                const std::string &extension) {
    const std::string &dir = Directory();
    for (int f = 0; f < kMaxMembers; ++f) {
        const std::string path = dir + "/fz.00" + std::to_string(f + 1) + extension;
        std::remove(path.c_str());
        if (f >= static_cast<int>(files.size())) continue;
        if (std::FILE *out = std::fopen(path.c_str(), "wb")) {
            // An empty member stays empty (fwrite must not see a null buffer).
            if (!files[f].empty()) std::fwrite(files[f].data(), 1, files[f].size(), out);
            std::fclose(out);
        }
    }
    ReleaseFileTable();
    FileTable.cachedPath[0] = '\0';
    return dir + "/fz.001" + extension;
}

}  // namespace trova::fuzz
