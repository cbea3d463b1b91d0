// What the reader fuzz targets share: a scratch directory and the member
// files of the recording an input describes.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "files/file_table.h"
#include "fuzz_input.h"
#include "trova/host.h"

namespace trova::fuzz {

// Made once per process; the log is off and the completion pause 0.
inline const std::string &Directory() {
    static const std::string dir = [] {
        char pattern[] = "/tmp/trova-fuzz-XXXXXX";
        const char *made = mkdtemp(pattern);
        if (made == nullptr) std::abort();
        TrovaSetLogDirectory(nullptr);
        TrovaSetCompletionPause(0);
        return std::string(made);
    }();
    return dir;
}

// Writes the input's files as fz.001<extension> to fz.003<extension>
// (removing those it does not have) and forgets the cached file table, as
// every input is a new recording. Returns the path of the first member.
inline std::string WriteMembers(const ReaderInput &in, const std::string &extension) {
    const std::string &dir = Directory();
    for (int f = 0; f < 3; ++f) {
        const std::string path = dir + "/fz.00" + std::to_string(f + 1) + extension;
        std::remove(path.c_str());
        if (f >= static_cast<int>(in.files.size())) continue;
        if (std::FILE *out = std::fopen(path.c_str(), "wb")) {
            // An empty member stays empty (fwrite must not see a null buffer).
            if (!in.files[f].empty()) std::fwrite(in.files[f].data(), 1, in.files[f].size(), out);
            std::fclose(out);
        }
    }
    ReleaseFileTable();
    FileTable.cachedPath[0] = '\0';
    return dir + "/fz.001" + extension;
}

}  // namespace trova::fuzz
