// SPDX-License-Identifier: Apache-2.0
#include "TextBar.h"

#include <algorithm>
#include <ostream>

namespace cli {

TextBar::TextBar(std::ostream& out, bool shown, std::string label, int maximum)
    : out(out), shown(shown), label(std::move(label)), maximum(maximum) {
    Draw();
}

TextBar::~TextBar() {
    Clear();
}

void TextBar::Step() {
    ++position;
    Draw();
}

void TextBar::RaiseMaximum(int by) {
    maximum += by;
    Draw();
}

void TextBar::Repaint() {
    Draw();
}

void TextBar::Draw() {
    if (!shown) return;
    // The settings groups may step past a maximum that was set for more groups
    // than the module has, or stop short of it: the bar shows what it was told.
    const int top = std::max(maximum, 1);
    const int done = std::clamp(position, 0, top);
    const int cells = done * kWidth / top;
    std::string line = "\r" + label + " [" + std::string(std::size_t(cells), '#') +
                       std::string(std::size_t(kWidth - cells), '.') + "] " + std::to_string(done) +
                       "/" + std::to_string(top);
    // A shorter line than the last one leaves no characters of it behind.
    const std::size_t length = line.size() - 1;
    if (length < drawn) line += std::string(drawn - length, ' ');
    drawn = std::max(drawn, length);
    out << line << std::flush;
}

void TextBar::Clear() {
    if (!shown || drawn == 0) return;
    out << '\r' << std::string(drawn, ' ') << '\r' << std::flush;
    drawn = 0;
}

} // namespace cli
