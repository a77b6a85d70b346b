// SPDX-License-Identifier: Apache-2.0
// The progress bar of the command line: one line on a terminal, redrawn in place
// with a carriage return at every step and wiped when the bar goes away.
#pragma once

#include "SettingsGroup.h"

#include <iosfwd>
#include <string>

namespace cli {

class TextBar : public Progress {
  public:
    // Cells between the brackets.
    static constexpr int kWidth = 30;

    // Draws nothing at all when shown is false.
    TextBar(std::ostream& out, bool shown, std::string label, int maximum);
    ~TextBar() override;
    TextBar(const TextBar&) = delete;
    TextBar& operator=(const TextBar&) = delete;

    void Step() override;
    void RaiseMaximum(int by) override;
    void Repaint() override;
    // Wipes the line (before an error report, or at the end); a later step draws again.
    void Clear();

    int Position() const { return position; }
    int Maximum() const { return maximum; }

  private:
    void Draw();

    std::ostream& out;
    bool shown;
    std::string label;
    int position = 0;
    int maximum;
    std::size_t drawn = 0; // characters on the line now
};

} // namespace cli
