// The ".bcf" configuration file: naming, the atomic CR LF writer, reading a
// whole file, and the key lookup that every handler's load uses.
#include "ConfigFile.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

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

bool WriteAtomically(const std::string& path, const std::string& text) {
    if (path.empty()) return false;
    const fs::path target(path);
    std::error_code ec;
    if (fs::is_directory(target, ec)) return false;

    // Every line ends in CR LF on every platform, as a Windows text-mode
    // stream writes it.
    std::string bytes;
    bytes.reserve(text.size() + text.size() / 16 + 1);
    for (char c : text) {
        if (c == '\n') bytes.push_back('\r');
        bytes.push_back(c);
    }

    const fs::path temporary = TemporaryBeside(target);
    if (temporary.empty()) return false;
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        if (!out) return false;
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.flush();
        if (!out) {
            out.close();
            fs::remove(temporary, ec);
            return false;
        }
        out.close();
        if (out.fail()) {
            fs::remove(temporary, ec);
            return false;
        }
    }
    fs::rename(temporary, target, ec);
    if (ec) {
        std::error_code ignored;
        fs::remove(temporary, ignored);
        return false;
    }
    return true;
}

bool ReadAll(const std::string& path, std::string& bytes) {
    std::error_code ec;
    if (path.empty() || fs::is_directory(fs::path(path), ec)) return false;
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) return false;
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
            if (c == ':')
                state = State::AfterColon;
            else
                append(keyBuffer, c); // line ends too: a line without a colon runs on
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
