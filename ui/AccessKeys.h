// SPDX-License-Identifier: Apache-2.0
// Access keys (an underlined letter, Alt and the letter) for every button,
// check box, radio button and labelled field of the program's windows, given
// when a window is first shown: the captions keep their words, one letter of
// each is underlined, and no letter is used twice among what one window shows
// at a time. The same hook makes the focus visible as soon as a window opens.
#pragma once

#include <QObject>
#include <QString>

class QWidget;

namespace AccessKeys {

// Gives the labels of `scope` their fields as buddies, then an access key to
// every captioned control in it that has none, avoiding the letters in `taken`
// (upper case) and those already given; returns the letters used.
QString Assign(QWidget* scope, QString taken = QString());

// The caption without its access-key marks, as a person reads it.
QString Plain(QString caption);

// Watches the application's windows and assigns keys to each the first time
// it is shown; a window with pages (a tab widget) gets them per page, beside
// the keys of its menus and buttons.
class Watcher : public QObject {
  public:
    using QObject::QObject;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};

} // namespace AccessKeys
