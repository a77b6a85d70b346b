// SPDX-License-Identifier: Apache-2.0
// The configuration file: the name it is saved under, the bytes on disk, what
// survives a failed save, what a load refuses to read, and which value the key
// lookup finds in hand-edited, odd or damaged files.
#include "ConfigFile.h"
#include "ModuleRig.h" // Slurp

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace std::string_literals;

namespace {

namespace fs = std::filesystem;

// A fresh folder, removed with everything in it when the test ends.
struct TempDir {
    TempDir() {
        char name[] = "/tmp/config-test-XXXXXX";
        path = mkdtemp(name) ? name : "";
    }
    ~TempDir() {
        std::error_code ec;
        fs::remove_all(path, ec);
    }
    std::string File(const std::string& name) const { return path + "/" + name; }
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(path))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    std::string path;
};

TEST(ConfigFile, SaveNameAddsTheExtensionCaseSensitivelyToNamesLongerThanFour) {
    std::string saved;
    for (const char* chosen :
         {"settings", "a.BCF", "abcd", "abcde", ".bcf", "m.bcf", "/u/m.txt", ""})
        saved += ConfigFile::SaveName(chosen) + "|";
    EXPECT_EQ(saved, "settings.bcf|a.BCF.bcf|abcd|abcde.bcf|.bcf|m.bcf|/u/m.txt.bcf||");
}

TEST(ConfigFile, SaveWritesCrLfLinesAndAFailedSaveLeavesTheOldFile) {
    TempDir dir;
    const std::string path = dir.File("module.bcf");
    ASSERT_TRUE(ConfigFile::WriteAtomically(path, "# A\nKey: v\n\n\nlast"));
    EXPECT_EQ(Slurp(path), "# A\r\nKey: v\r\n\r\n\r\nlast");
    // A carriage return already in the text gets another one, as a text-mode stream writes it.
    ASSERT_TRUE(ConfigFile::WriteAtomically(path, "a\0\xff\r\n"s));
    EXPECT_EQ(Slurp(path), "a\0\xff\r\r\n"s);

    // The disk fills up during the save.
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit full{4, limit.rlim_max};
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
    std::string error;
    const bool saved = ConfigFile::WriteAtomically(path, "Bluetooth Device Name: new\n", &error);
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, previous);
    EXPECT_FALSE(saved);
    EXPECT_EQ(error, "File too large");
    EXPECT_EQ(Slurp(path), "a\0\xff\r\r\n"s);
    EXPECT_EQ(dir.Names(), std::vector<std::string>{"module.bcf"}) << "no temporary file is left";
}

TEST(ConfigFile, SaveWritesThroughALinkKeepsPermissionsAndSaysWhyItFailed) {
    TempDir dir;
    const std::string target = dir.File("real.bcf");
    std::ofstream(target) << "old";
    ASSERT_EQ(chmod(target.c_str(), 0640), 0);
    ASSERT_EQ(symlink("real.bcf", dir.File("link.bcf").c_str()), 0);
    ASSERT_TRUE(ConfigFile::WriteAtomically(dir.File("link.bcf"), "new\n"));
    EXPECT_TRUE(fs::is_symlink(dir.File("link.bcf")));
    EXPECT_EQ(Slurp(target), "new\r\n");
    EXPECT_EQ(fs::status(target).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);

    std::string error;
    EXPECT_FALSE(ConfigFile::WriteAtomically(dir.path, "x\n", &error));
    EXPECT_EQ(error, "it is a folder");
    EXPECT_FALSE(ConfigFile::WriteAtomically(dir.File("missing/x.bcf"), "x\n", &error));
    EXPECT_EQ(error, "No such file or directory");
    EXPECT_EQ(dir.Names(), (std::vector<std::string>{"link.bcf", "real.bcf"}));
}

TEST(ConfigFile, LoadReadsOnlyARegularFileOfAtMostOneMebibyteWithoutZeroBytes) {
    TempDir dir;
    const std::string fifo = dir.File("pipe.bcf");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::ofstream(dir.File("big.bcf")) << std::string(ConfigFile::kMaxFileSize + 1, 'a');
    std::ofstream(dir.File("full.bcf")) << std::string(ConfigFile::kMaxFileSize, 'a');
    std::ofstream(dir.File("binary.bcf")) << "Bluetooth Device Name: x\n"s + '\0' + "more";
    const struct {
        std::string path, error; // error "" when it is read
    } cases[] = {
        {dir.path, "it is a folder"},
        {fifo, "it is not a regular file"}, // must not wait for a writer
        {"/dev/zero", "it is not a regular file"},
        {dir.File("big.bcf"), "it is larger than 1 MiB"},
        {dir.File("binary.bcf"), "it holds zero bytes, so it is not a configuration file"},
        {dir.File("absent.bcf"), "No such file or directory"},
        {dir.File("full.bcf"), ""},
    };
    for (const auto& c : cases) {
        std::string bytes = "untouched", error;
        EXPECT_EQ(ConfigFile::ReadAll(c.path, bytes, &error), c.error.empty()) << c.path;
        EXPECT_EQ(error, c.error);
        EXPECT_EQ(bytes.size(), c.error.empty() ? ConfigFile::kMaxFileSize : 9);
    }
}

TEST(ConfigFile, LookupFindsTheFirstKeyWhereALineStartsWithALetter) {
    std::string noise(3000, '\0'); // zero bytes and bytes above 127
    for (size_t i = 0; i < noise.size(); ++i)
        noise[i] = char(i * 37 + 11);
    const std::string noColon = "Device mode Server\r\nName: lost\r\nOther: found\r\n";
    const std::string emptyLf = "Name: \nOther: svc\nThird: o\n";
    const std::string comments = "# Name: commented\n  # Name: indented\n7#Name: numbered\n"
                                 "Name: real # not a comment\nKey#1: hash in key\n";
    const std::string longLines = "Long: " + std::string(5000, 'v') + "\r\n" +
                                  std::string(5000, 'k') + ": cut key\r\nAfter: found\r\n";
    const struct {
        std::string file, key, found;
        std::string taken; // what a handler takes; "kept" when it keeps its value
    } cases[] = {
        {"42Name: after digits\r\n", "Name", "after digits\r", "after digits"},
        {"Name:    spaces\n", "Name", "spaces", "spaces"},
        {"Name: x\n", "name", "", "kept"}, // keys are compared exactly
        {"A: 1\nB: two words \nC: 3", "B", "two words ", "two words "},
        {"A: 1\nB: two words \nC: 3", "C", "", "kept"}, // a last line without a line feed
        {"Name: first\nName: second\n", "Name", "first", "first"},
        {"Name: ab\r\r\n", "Name", "ab\r\r", "ab\r"},      // one carriage return goes
        {"Name: \r\nOther: svc\r\n", "Name", "\r", ""},    // taken, and taken as empty
        {emptyLf, "Name", "\nOther: svc", "\nOther: svc"}, // runs into the next line
        {emptyLf, "Other", "", "kept"},
        {noColon, "Name", "lost\r", "lost"}, // a line without a colon is skipped
        {"Device not paired\nName: x\n", "Device not paired", "", "kept"},
        {comments, "Name", "real # not a comment", "real # not a comment"},
        {comments, "Key#1", "hash in key", "hash in key"},
        {longLines, "Long", std::string(99, 'v'), std::string(99, 'v')},
        {longLines, std::string(99, 'k'), "cut key\r", "cut key"},
        {longLines, std::string(5000, 'k'), "", "kept"},
        {std::string(5000, 'x') + "\nAfter: a\n", "After", "a", "a"},
        {"Name: caf\xe9 \0\xff\n"s + noise, "Name", "caf\xe9 \0\xff"s, "caf\xe9 \0\xff"s},
        {noise + "Name: x\n", "Missing", "", "kept"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.file.substr(0, 60)) + " key " + c.key.substr(0, 30));
        EXPECT_EQ(FindConfigValue(c.key, c.file), c.found);
        std::string value = "kept";
        EXPECT_EQ(TakeConfigValue(c.key, c.file, value), c.taken != "kept");
        EXPECT_EQ(value, c.taken);
    }
}

} // namespace
