// SPDX-License-Identifier: Apache-2.0
// Small layout touches the forms share.
#pragma once

#include <initializer_list>

class QFormLayout;

namespace PageLayout {
// Gives the captions of several form layouts one width, so their fields line up.
void AlignCaptions(std::initializer_list<QFormLayout*> forms);
} // namespace PageLayout
