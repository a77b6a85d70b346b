// SPDX-License-Identifier: Apache-2.0
// The key filter of the numeric edits, one for every page: it decides on typed
// printable characters only (digits, "-", hexadecimal letters, as the edit
// allows), so Backspace, Delete, Tab, the arrows and the shortcuts reach the
// edit as the toolkit handles them. Pasted or dropped text is held to the same
// characters and length.
#pragma once

#include <QObject>

class QLineEdit;

struct KeyRule {
    enum Chars { Digits, DigitsAndMinus, Hex };
    Chars chars = Digits;
    int maxLength = 0;           // characters the edit takes by typing; 0: the edit's own limit
    bool minusFirstOnly = false; // "-" only into an empty edit
    bool fullRefusesAll = false; // a full edit beeps at any character, not only an allowed one
    bool typedReplacesSelection = false; // a selection counts as replaced when judging "full"
};

namespace KeyFilter {
// Filters `edit` by `rule` for as long as the edit lives.
void Install(QLineEdit* edit, const KeyRule& rule);
} // namespace KeyFilter
