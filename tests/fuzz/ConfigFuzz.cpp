// SPDX-License-Identifier: Apache-2.0
// Fuzzes configuration files: the key lookup on any bytes, and a load of every
// group followed by a save, whose file must load back to the same settings.
#include "ConfigFile.h"
#include "ModuleSettings.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include <unistd.h>

namespace {

[[noreturn]] void Fail(const char* what, const std::string& detail) {
    std::fprintf(stderr, "invariant broken: %s\n%s\n", what, detail.c_str());
    std::abort();
}
#define CHECK(cond, detail)                                                                        \
    do {                                                                                           \
        if (!(cond)) Fail(#cond, detail);                                                          \
    } while (0)

constexpr size_t kLimit = 99;

// The keys of a file saved with every group: what the handlers look up.
std::vector<std::string> KnownKeys() {
    ModuleSettings settings;
    settings.AssumeEveryGroup();
    const std::string text = settings.FileText();
    std::vector<std::string> keys;
    size_t at = 0;
    while (at < text.size()) {
        const size_t end = text.find('\n', at);
        const std::string line = text.substr(at, end - at);
        const size_t colon = line.find(':');
        if (!line.empty() && line[0] != '#' && colon != std::string::npos)
            keys.push_back(line.substr(0, colon));
        at = end == std::string::npos ? text.size() : end + 1;
    }
    return keys;
}

void CheckLookup(const std::string& key, const std::string& file) {
    const std::string value = FindConfigValue(key, file);
    CHECK(value.size() <= kLimit, key);
    std::string taken = "unchanged";
    const bool took = TakeConfigValue(key, file, taken);
    CHECK(took == !value.empty(), key);
    if (!took) {
        CHECK(taken == "unchanged", key);
        return;
    }
    CHECK(taken == (value.back() == '\r' ? value.substr(0, value.size() - 1) : value), key);
    // A line end can only open a value (a colon at the end of its line).
    CHECK(value.find('\n', 1) == std::string::npos, key);
    if (key.size() >= kLimit || value.size() >= kLimit) return;
    // The line it came from: the key, a colon, spaces, the value and a line feed.
    const std::string head = key + ":";
    bool seen = false;
    for (size_t p = file.find(head); p != std::string::npos && !seen; p = file.find(head, p + 1)) {
        size_t v = p + head.size();
        while (v < file.size() && file[v] == ' ')
            ++v;
        seen = file.compare(v, value.size() + 1, value + "\n") == 0;
    }
    CHECK(seen, key + " -> " + value);
}

// The settings a load of `file` gives, saved. `broken` tells whether a value
// taken holds a line feed (a line feed right after the colon opens a value,
// so a line-feed-only file with an empty value hands the next line over as
// that value); saved, such a value breaks its line, and the file cannot give
// the same settings back.
std::string LoadAndSave(const std::string& file, bool everyGroup, int* taken = nullptr,
                        bool* broken = nullptr) {
    ModuleSettings settings;
    if (everyGroup) settings.AssumeEveryGroup();
    TakenLines lines;
    const int count = settings.LoadFile(file, &lines);
    if (taken) *taken = count;
    if (broken) {
        *broken = false;
        for (const std::string& line : lines)
            *broken = *broken || line.find('\n') != std::string::npos;
    }
    return settings.FileText();
}

std::string WithCrLf(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '\n') out.push_back('\r');
        out.push_back(c);
    }
    return out;
}

// A folder of this process for the files a run saves and reads; removed at
// exit (the name outlives the static objects, which go before the handler runs).
const std::string& Folder() {
    static const std::string* const folder = [] {
        auto* name = new std::string(
            (std::filesystem::temp_directory_path() / "btconf-config-fuzz-XXXXXX").string());
        if (mkdtemp(&(*name)[0]) == nullptr) Fail("no temporary folder", *name);
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(Folder(), ignored);
        });
        return name;
    }();
    return *folder;
}

// The input as a file on disk is read whole, or refused when it holds a zero
// byte; true when read.
bool CheckRead(const std::string& file) {
    const std::string path = Folder() + "/input.bcf";
    std::ofstream(path, std::ios::binary | std::ios::trunc) << file;
    std::string bytes = "unchanged", error;
    const bool read = ConfigFile::ReadAll(path, bytes, &error);
    CHECK(read == (file.find('\0') == std::string::npos), error);
    CHECK(read ? bytes == file && error.empty() : bytes == "unchanged" && !error.empty(), error);
    return read;
}

// A save as the tool makes it (CR LF, through a temporary file) reads back as written.
std::string SaveAndRead(const std::string& text) {
    const std::string path = Folder() + "/saved.bcf";
    std::string error, bytes;
    CHECK(ConfigFile::WriteAtomically(path, text, &error), error);
    CHECK(ConfigFile::ReadAll(path, bytes, &error), error);
    CHECK(bytes == WithCrLf(text), bytes);
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::vector<std::string> keys = KnownKeys();
    const std::string file(reinterpret_cast<const char*>(data), size);

    for (const std::string& key : keys)
        CheckLookup(key, file);
    // A key made of the input's first line, as far as a key can be.
    const std::string firstLine = file.substr(0, file.find_first_of(":\n"));
    CheckLookup(firstLine, file);
    const std::string name = ConfigFile::SaveName(firstLine);
    CHECK(name.size() <= 4 || name.compare(name.size() - 4, 4, ".bcf") == 0, name);

    // A line put in front is found whatever follows it.
    std::string value = firstLine.substr(0, kLimit);
    while (!value.empty() && value[0] == ' ')
        value.erase(0, 1);
    if (value.empty()) value = "x";
    CHECK(FindConfigValue("Probe key", "Probe key: " + value + "\n" + file) == value, value);

    // A file the tool refuses to read is never loaded.
    if (!CheckRead(file)) return 0;

    // What a save writes after any load (CR LF at every line end, as the file
    // on disk has them) loads back to the same settings. With line feeds only an
    // empty value would take the next line as its value: a line end right after
    // the colon opens the value.
    for (bool everyGroup : {true, false}) {
        bool broken = false;
        const std::string saved = LoadAndSave(file, everyGroup, nullptr, &broken);
        CHECK(saved.rfind(ConfigFile::kHeader, 0) == 0, saved);
        int taken = 0;
        // (Through the disk once; the other time as the bytes the disk would hold.)
        const std::string again =
            LoadAndSave(everyGroup ? SaveAndRead(saved) : WithCrLf(saved), everyGroup, &taken);
        CHECK(taken > 0, saved);
        if (!broken) CHECK(again == saved, saved + "\n-- saved again --\n" + again);
    }
    return 0;
}
