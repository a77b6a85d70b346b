// The configuration file as a person and another program see it: the name it
// is saved under, the bytes on disk, what survives a failed save, and which
// value the key lookup finds in hand-edited, odd or damaged files.
#include "ConfigFile.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::string Slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void Put(const fs::path& p, const std::string& bytes) {
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), std::streamsize(bytes.size()));
}

std::size_t EntriesIn(const fs::path& dir) {
    return std::size_t(std::distance(fs::directory_iterator(dir), fs::directory_iterator()));
}

} // namespace

TEST(ConfigFileName, ExtensionIsAddedCaseSensitivelyToNamesLongerThanFour) {
    EXPECT_EQ(ConfigFile::SaveName("settings"), "settings.bcf");
    EXPECT_EQ(ConfigFile::SaveName("a.BCF"), "a.BCF.bcf");
    EXPECT_EQ(ConfigFile::SaveName("x"), "x");
    EXPECT_EQ(ConfigFile::SaveName("abcd"), "abcd"); // four characters: used as chosen
    EXPECT_EQ(ConfigFile::SaveName("abcde"), "abcde.bcf");
    EXPECT_EQ(ConfigFile::SaveName(".bcf"), ".bcf");
    EXPECT_EQ(ConfigFile::SaveName("m.bcf"), "m.bcf");
    EXPECT_EQ(ConfigFile::SaveName("/home/u/module.bcf"), "/home/u/module.bcf");
    EXPECT_EQ(ConfigFile::SaveName("/home/u/module.txt"), "/home/u/module.txt.bcf");
    EXPECT_EQ(ConfigFile::SaveName(""), "");
}

TEST(ConfigFileHeader, IsOneCommentLineAndTwoEmptyLines) {
    EXPECT_STREQ(ConfigFile::kHeader,
                 "# Configuration file saved by Norvane Configuration Software 3.01\n\n\n");
}

TEST(ConfigFileWrite, EveryLineEndsInCarriageReturnLineFeedAndReplacesTheOldFile) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const fs::path target = fs::path(dir.path().toStdString()) / "module.bcf";
    Put(target, "old contents that are longer than the new ones\n");

    ASSERT_TRUE(ConfigFile::WriteAtomically(target.string(), "# A\nKey: v\n\n\nlast"));
    EXPECT_EQ(Slurp(target), "# A\r\nKey: v\r\n\r\n\r\nlast");
    // A carriage return already in the text gets another one, as a text-mode
    // stream writes it.
    ASSERT_TRUE(ConfigFile::WriteAtomically(target.string(), "a\r\n"));
    EXPECT_EQ(Slurp(target), "a\r\r\n");
    // No temporary file is left beside it.
    EXPECT_EQ(EntriesIn(target.parent_path()), 1u);
}

TEST(ConfigFileWrite, AFailedSaveLeavesWhatWasThere) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const fs::path root(dir.path().toStdString());

    // The chosen path is a folder.
    const fs::path folder = root / "folder.bcf";
    fs::create_directory(folder);
    Put(folder / "inside", "kept");
    EXPECT_FALSE(ConfigFile::WriteAtomically(folder.string(), "Key: v\n"));
    EXPECT_TRUE(fs::is_directory(folder));
    EXPECT_EQ(Slurp(folder / "inside"), "kept");

    // The folder does not exist, or is a file.
    EXPECT_FALSE(ConfigFile::WriteAtomically((root / "missing" / "m.bcf").string(), "x\n"));
    Put(root / "plain", "plain file");
    EXPECT_FALSE(ConfigFile::WriteAtomically((root / "plain" / "m.bcf").string(), "x\n"));
    EXPECT_EQ(Slurp(root / "plain"), "plain file");
    EXPECT_FALSE(ConfigFile::WriteAtomically("", "x\n"));
    EXPECT_EQ(EntriesIn(root), 2u); // folder.bcf and plain, nothing left over
}

TEST(ConfigFileWrite, ReadOnlyFolderKeepsTheOldFile) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const fs::path root(dir.path().toStdString());
    const fs::path locked = root / "locked";
    fs::create_directory(locked);
    const fs::path target = locked / "module.bcf";
    Put(target, "Bluetooth Device Name: old\r\n");
    const auto readOnly = fs::perms::owner_read | fs::perms::owner_exec | fs::perms::group_read |
                          fs::perms::group_exec | fs::perms::others_read | fs::perms::others_exec;
    fs::permissions(root, readOnly | fs::perms::owner_write);
    fs::permissions(locked, readOnly);

    bool saved = true;
    if (geteuid() != 0) {
        saved = ConfigFile::WriteAtomically(target.string(), "Bluetooth Device Name: new\n");
    } else {
        // Permissions do not bind the superuser: save as an ordinary user.
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            if (setgid(65534) != 0 || setuid(65534) != 0) _exit(2);
            _exit(ConfigFile::WriteAtomically(target.string(), "x\n") ? 1 : 0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status));
        ASSERT_NE(WEXITSTATUS(status), 2) << "could not become an ordinary user";
        saved = WEXITSTATUS(status) == 1;
    }
    fs::permissions(locked, fs::perms::owner_all);
    EXPECT_FALSE(saved);
    EXPECT_EQ(Slurp(target), "Bluetooth Device Name: old\r\n");
    EXPECT_EQ(EntriesIn(locked), 1u);
}

TEST(ConfigFileRead, ReadsEveryByteAndRefusesWhatIsNotAFile) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const fs::path root(dir.path().toStdString());
    const std::string binary("A\0\xff\r\n\x80z", 7);
    Put(root / "b.bcf", binary);

    std::string bytes = "untouched";
    ASSERT_TRUE(ConfigFile::ReadAll((root / "b.bcf").string(), bytes));
    EXPECT_EQ(bytes, binary);

    bytes = "untouched";
    EXPECT_FALSE(ConfigFile::ReadAll((root / "none.bcf").string(), bytes));
    EXPECT_FALSE(ConfigFile::ReadAll(root.string(), bytes));
    EXPECT_EQ(bytes, "untouched");

    Put(root / "empty.bcf", "");
    ASSERT_TRUE(ConfigFile::ReadAll((root / "empty.bcf").string(), bytes));
    EXPECT_EQ(bytes, "");
}

TEST(ConfigLookup, FindsKeysWhereverALineStartsWithALetter) {
    const std::string file = "# Name and information parameters\r\n"
                             "Bluetooth Device Name: Lab unit 7\r\n"
                             "   Bluetooth Service Name: COM link\r\n"
                             "42Product ID: NVM-220\r\n"
                             "\r\n"
                             "Article number:    A-1\r\n";
    EXPECT_EQ(FindConfigValue("Bluetooth Device Name", file), "Lab unit 7\r");
    EXPECT_EQ(FindConfigValue("Bluetooth Service Name", file), "COM link\r");
    EXPECT_EQ(FindConfigValue("Product ID", file), "NVM-220\r");
    EXPECT_EQ(FindConfigValue("Article number", file), "A-1\r"); // spaces after the colon skipped
    // Keys are compared exactly.
    EXPECT_EQ(FindConfigValue("bluetooth device name", file), "");
    EXPECT_EQ(FindConfigValue("Bluetooth Device", file), "");
    EXPECT_EQ(FindConfigValue("Name and information parameters", file), "");
    EXPECT_EQ(FindConfigValue("", file), "");
    EXPECT_EQ(FindConfigValue("Bluetooth Device Name", ""), "");
}

TEST(ConfigLookup, LineFeedOnlyFilesAndTheLastLine) {
    const std::string file = "Serial A: 1\nSerial B: two words \nSerial C: 3";
    EXPECT_EQ(FindConfigValue("Serial A", file), "1");
    EXPECT_EQ(FindConfigValue("Serial B", file), "two words "); // trailing space kept
    // A last line without a line feed is never completed.
    EXPECT_EQ(FindConfigValue("Serial C", file), "");
}

TEST(ConfigLookup, CommentsStartWhereTheFirstLetterWouldHave) {
    const std::string file = "# Bluetooth Device Name: commented\n"
                             "  # Bluetooth Device Name: indented comment\n"
                             "7#Bluetooth Device Name: numbered comment\n"
                             "Bluetooth Device Name: real # not a comment\n"
                             "Key#1: hash in key\n";
    EXPECT_EQ(FindConfigValue("Bluetooth Device Name", file), "real # not a comment");
    EXPECT_EQ(FindConfigValue("Key#1", file), "hash in key");
}

TEST(ConfigLookup, OddLinesRunIntoTheNextOne) {
    // A line without a colon makes the next line part of its key.
    const std::string noColon = "Device mode Server\r\nBluetooth Device Name: lost\r\n"
                                "Bluetooth Service Name: found\r\n";
    EXPECT_EQ(FindConfigValue("Bluetooth Device Name", noColon), "");
    EXPECT_EQ(FindConfigValue("Device mode Server\r\nBluetooth Device Name", noColon), "lost\r");
    EXPECT_EQ(FindConfigValue("Bluetooth Service Name", noColon), "found\r");

    // An empty value before CR LF is one carriage return...
    const std::string crlf = "Bluetooth Device Name: \r\nBluetooth Service Name: svc\r\n";
    EXPECT_EQ(FindConfigValue("Bluetooth Device Name", crlf), "\r");
    EXPECT_EQ(FindConfigValue("Bluetooth Service Name", crlf), "svc\r");
    // ...and before a bare line feed it swallows the whole next line.
    const std::string lf = "Bluetooth Device Name: \nBluetooth Service Name: svc\nOther: o\n";
    EXPECT_EQ(FindConfigValue("Bluetooth Device Name", lf), "\nBluetooth Service Name: svc");
    EXPECT_EQ(FindConfigValue("Bluetooth Service Name", lf), "");
    EXPECT_EQ(FindConfigValue("Other", lf), "o");
}

TEST(ConfigLookup, FirstOfTwoEqualKeysWins) {
    const std::string file = "Bluetooth Device Name: first\nBluetooth Device Name: second\n";
    EXPECT_EQ(FindConfigValue("Bluetooth Device Name", file), "first");
}

TEST(ConfigLookup, LongLinesAreCutAt99CharactersAndTheScanGoesOn) {
    const std::string longValue(5000, 'v');
    const std::string longKey(5000, 'k');
    const std::string file =
        "Long value: " + longValue + "\r\n" + longKey + ": cut key\r\n" + "After: still found\r\n";
    EXPECT_EQ(FindConfigValue("Long value", file), std::string(99, 'v'));
    // The key too keeps only its first 99 characters.
    EXPECT_EQ(FindConfigValue(std::string(99, 'k'), file), "cut key\r");
    EXPECT_EQ(FindConfigValue(longKey, file), "");
    EXPECT_EQ(FindConfigValue("After", file), "still found\r");

    // A 5000-character line with no colon at all swallows the rest of the file.
    EXPECT_EQ(FindConfigValue("After", std::string(5000, 'x') + "\nAfter: a\n"), "");
}

TEST(ConfigLookup, BinaryFilesAreScannedSafely) {
    std::string noise;
    for (int i = 0; i < 3000; ++i)
        noise.push_back(char((i * 37 + 11) & 0xff)); // zero bytes and bytes above 127
    const std::string withBytes("Name: caf\xe9 \x00\xff\n", 15);
    EXPECT_EQ(FindConfigValue("Name", withBytes), std::string("caf\xe9 \x00\xff", 7));
    // A key line before the noise is found; nothing is found in the noise.
    EXPECT_EQ(FindConfigValue("Name", withBytes + noise), std::string("caf\xe9 \x00\xff", 7));
    EXPECT_EQ(FindConfigValue("Missing", noise + withBytes), "");
    EXPECT_EQ(FindConfigValue("Missing", std::string(100000, '\0')), "");
    EXPECT_EQ(FindConfigValue("Missing", std::string(100000, '\xff')), "");
    EXPECT_EQ(FindConfigValue("A", std::string("A:") + std::string(100000, '\x80') + "\n"),
              std::string(99, '\x80'));
}

TEST(ConfigTake, EmptyIsNotTakenAndOneTrailingCarriageReturnGoes) {
    std::string value = "kept";
    EXPECT_FALSE(TakeConfigValue("Missing", "Other: 1\n", value));
    EXPECT_EQ(value, "kept");
    EXPECT_TRUE(TakeConfigValue("Name", "Name: \r\n", value)); // a carriage return alone
    EXPECT_EQ(value, "");
    EXPECT_TRUE(TakeConfigValue("Name", "Name: ab\r\r\n", value));
    EXPECT_EQ(value, "ab\r"); // only one is removed
    EXPECT_TRUE(TakeConfigValue("Name", "Name: plain\n", value));
    EXPECT_EQ(value, "plain");
}
