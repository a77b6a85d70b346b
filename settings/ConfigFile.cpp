// SPDX-License-Identifier: Apache-2.0
// The ".bcf" configuration file: naming, the atomic CR LF writer, reading a
// whole file, and the key lookup that every handler's load uses.
#include "ConfigFile.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace ConfigFile {

const char* const kHeader =
    "# Configuration file saved by Norvane Configuration Software 3.01\n\n\n";

std::string SaveName(const std::string& chosen) {
    static const std::string kExtension = ".bcf";
    if (chosen.size() <= kExtension.size()) return chosen;
    if (chosen.compare(chosen.size() - kExtension.size(), kExtension.size(), kExtension) == 0)
        return chosen;
    return chosen + kExtension;
}

namespace {

// A name beside the target that no other save of this process uses and that
// does not exist yet.
fs::path TemporaryBeside(const fs::path& target) {
    static std::atomic<unsigned> counter{0};
    const auto stamp = static_cast<unsigned long long>(
        std::chrono::steady_clock::now().time_since_epoch().count());
    fs::path dir = target.parent_path();
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string name = "." + target.filename().string() + "." +
                           std::to_string(stamp % 1000000) + "-" + std::to_string(counter++) +
                           ".tmp";
        fs::path candidate = dir / name;
        std::error_code ec;
        if (!fs::exists(candidate, ec) && !ec) return candidate;
    }
    return {};
}

} // namespace

namespace {

void Say(std::string* error, const std::string& why) {
    if (error != nullptr) *error = why;
}

// The file a save replaces: the path itself, or the file its symbolic links
// lead to (a link to a file not there yet names the file to create).
fs::path SaveTarget(const fs::path& path) {
    fs::path target = path;
    std::error_code ec;
    for (int hops = 0; hops < 40 && fs::is_symlink(target, ec); ++hops) {
        const fs::path next = fs::read_symlink(target, ec);
        if (ec) break;
        target = next.is_absolute() ? next : target.parent_path() / next;
    }
    return target;
}

} // namespace

bool WriteAtomically(const std::string& path, const std::string& text, std::string* error) {
    if (path.empty()) {
        Say(error, "no file name was given");
        return false;
    }
    const fs::path target = SaveTarget(fs::path(path));
    std::error_code ec;
    const fs::file_status status = fs::status(target, ec);
    if (fs::is_directory(status)) {
        Say(error, "it is a folder");
        return false;
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        Say(error, "it is not a regular file");
        return false;
    }

    // Every line ends in CR LF on every platform, as a Windows text-mode
    // stream writes it.
    std::string bytes;
    bytes.reserve(text.size() + text.size() / 16 + 1);
    for (char c : text) {
        if (c == '\n') bytes.push_back('\r');
        bytes.push_back(c);
    }

    const fs::path temporary = TemporaryBeside(target);
    if (temporary.empty()) {
        Say(error, "no temporary file could be made beside it");
        return false;
    }
    auto fail = [&](const std::string& why) {
        std::error_code ignored;
        fs::remove(temporary, ignored);
        Say(error, why);
        return false;
    };
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        if (!out) {
            const int code = errno;
            Say(error, code != 0 ? std::strerror(code) : "the folder cannot be written");
            return false;
        }
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.flush();
        const bool written = bool(out);
        const int code = errno;
        out.close();
        if (!written || out.fail())
            return fail(code != 0 ? std::strerror(code) : "the file could not be written whole");
    }
    if (fs::exists(status)) {
        fs::permissions(temporary, status.permissions(), fs::perm_options::replace, ec);
        ec.clear();
    }
    fs::rename(temporary, target, ec);
    if (ec) return fail(ec.message());
    return true;
}

bool ReadAll(const std::string& path, std::string& bytes, std::string* error) {
    if (path.empty()) {
        Say(error, "no file name was given");
        return false;
    }
    std::string content;
#if defined(_WIN32)
    std::error_code ec;
    const fs::file_status status = fs::status(fs::path(path), ec);
    if (ec || !fs::exists(status)) {
        Say(error, "No such file or directory");
        return false;
    }
    if (fs::is_directory(status)) {
        Say(error, "it is a folder");
        return false;
    }
    if (!fs::is_regular_file(status)) {
        Say(error, "it is not a regular file");
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        Say(error, "it cannot be opened");
        return false;
    }
    content.resize(kMaxFileSize + 1);
    in.read(&content[0], static_cast<std::streamsize>(content.size()));
    if (in.bad()) {
        Say(error, "it cannot be read");
        return false;
    }
    content.resize(static_cast<std::size_t>(in.gcount()));
#else
    // Opened without waiting (a pipe with no writer would hold the open), then
    // judged by what was opened, so nothing can be swapped in between.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        Say(error, std::strerror(errno));
        return false;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0) {
        Say(error, std::strerror(errno));
        ::close(fd);
        return false;
    }
    if (!S_ISREG(st.st_mode)) {
        Say(error, S_ISDIR(st.st_mode) ? "it is a folder" : "it is not a regular file");
        ::close(fd);
        return false;
    }
    content.resize(kMaxFileSize + 1);
    std::size_t got = 0;
    while (got < content.size()) {
        const ssize_t n = ::read(fd, &content[got], content.size() - got);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            Say(error, std::strerror(errno));
            ::close(fd);
            return false;
        }
        if (n == 0) break;
        got += static_cast<std::size_t>(n);
    }
    ::close(fd);
    content.resize(got);
#endif
    if (content.size() > kMaxFileSize) {
        Say(error, "it is larger than 1 MiB");
        return false;
    }
    if (content.find('\0') != std::string::npos) {
        Say(error, "it holds zero bytes, so it is not a configuration file");
        return false;
    }
    bytes.swap(content);
    return true;
}

} // namespace ConfigFile

std::string FindConfigValue(const std::string& key, const std::string& stream) {
    // The key and the value each fit 100 characters with their terminator:
    // anything past 99 characters is dropped.
    constexpr std::size_t kLimit = 99;
    enum class State { Comment, LineStart, Key, AfterColon, Value };

    std::string keyBuffer;
    std::string valueBuffer;
    keyBuffer.reserve(kLimit);
    valueBuffer.reserve(kLimit);
    auto append = [](std::string& buffer, char c) {
        if (buffer.size() < kLimit) buffer.push_back(c);
    };

    State state = State::LineStart;
    for (char c : stream) {
        switch (state) {
        case State::Comment:
            if (c == '\n') state = State::LineStart;
            break;
        case State::LineStart:
            if (c == '#') {
                state = State::Comment;
            } else if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) {
                append(keyBuffer, c);
                state = State::Key;
            }
            // Spaces, digits, line ends and anything else before a letter are skipped.
            break;
        case State::Key:
            if (c == ':') {
                state = State::AfterColon;
            } else if (c == '\n') {
                // A line without a colon ("Device not paired") is information only.
                keyBuffer.clear();
                state = State::LineStart;
            } else {
                append(keyBuffer, c);
            }
            break;
        case State::AfterColon:
            if (c != ' ') {
                append(valueBuffer, c); // even a line end starts the value
                state = State::Value;
            }
            break;
        case State::Value:
            if (c == '\n') {
                if (keyBuffer == key) return valueBuffer; // a CR before the LF stays
                keyBuffer.clear();
                valueBuffer.clear();
                state = State::LineStart;
            } else {
                append(valueBuffer, c);
            }
            break;
        }
    }
    return std::string();
}

bool TakeConfigValue(const std::string& key, const std::string& stream, std::string& value) {
    std::string found = FindConfigValue(key, stream);
    // The emptiness test comes before the carriage return is removed, so a value
    // of one carriage return is taken, and taken as empty.
    if (found.empty()) return false;
    if (found.back() == '\r') found.pop_back();
    value = found;
    return true;
}
