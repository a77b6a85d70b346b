// The configuration file: the name it is saved under, the bytes on disk, what
// survives a failed save, and which value the key lookup finds in hand-edited,
// odd or damaged files.
#include "ConfigFile.h"

#include <QDir>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sstream>
#include <sys/resource.h>

using namespace std::string_literals;

namespace {

std::string Slurp(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

TEST(ConfigFile, SaveNameAddsTheExtensionCaseSensitivelyToNamesLongerThanFour) {
    std::string saved;
    for (const char* chosen :
         {"settings", "a.BCF", "abcd", "abcde", ".bcf", "m.bcf", "/u/m.txt", ""})
        saved += ConfigFile::SaveName(chosen) + "|";
    EXPECT_EQ(saved, "settings.bcf|a.BCF.bcf|abcd|abcde.bcf|.bcf|m.bcf|/u/m.txt.bcf||");
}

TEST(ConfigFile, SaveWritesCrLfLinesAndAFailedSaveLeavesTheOldFile) {
    QTemporaryDir dir;
    const std::string path = dir.filePath("module.bcf").toStdString();
    ASSERT_TRUE(ConfigFile::WriteAtomically(path, "# A\nKey: v\n\n\nlast"));
    EXPECT_EQ(Slurp(path), "# A\r\nKey: v\r\n\r\n\r\nlast");
    // A carriage return already in the text gets another one, as a text-mode stream writes it.
    ASSERT_TRUE(ConfigFile::WriteAtomically(path, "a\0\xff\r\n"s));
    EXPECT_EQ(Slurp(path), "a\0\xff\r\r\n"s);
    std::string bytes;
    EXPECT_TRUE(ConfigFile::ReadAll(path, bytes));
    EXPECT_EQ(bytes, "a\0\xff\r\r\n"s);

    // The disk fills up during the save.
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit full{4, limit.rlim_max};
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
    const bool saved = ConfigFile::WriteAtomically(path, "Bluetooth Device Name: new\n");
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, previous);
    EXPECT_FALSE(saved);
    EXPECT_EQ(Slurp(path), "a\0\xff\r\r\n"s);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"module.bcf"})
        << "no temporary file is left";
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
        {"   Name: indented\r\n", "Name", "indented\r", "indented"},
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
        {emptyLf, "Third", "o", "o"},
        {noColon, "Name", "", "kept"}, // a line without a colon runs into the next
        {noColon, "Device mode Server\r\nName", "lost\r", "lost"},
        {noColon, "Other", "found\r", "found"},
        {comments, "Name", "real # not a comment", "real # not a comment"},
        {comments, "Key#1", "hash in key", "hash in key"},
        {longLines, "Long", std::string(99, 'v'), std::string(99, 'v')},
        {longLines, std::string(99, 'k'), "cut key\r", "cut key"},
        {longLines, std::string(5000, 'k'), "", "kept"},
        {longLines, "After", "found\r", "found"},
        {std::string(5000, 'x') + "\nAfter: a\n", "After", "", "kept"},
        {"Name: caf\xe9 \0\xff\n"s + noise, "Name", "caf\xe9 \0\xff"s, "caf\xe9 \0\xff"s},
        {noise + "Name: x\n", "Missing", "", "kept"},
        {"A:" + std::string(100000, '\x80') + "\n", "A", std::string(99, '\x80'),
         std::string(99, '\x80')},
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
