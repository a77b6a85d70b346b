// SPDX-License-Identifier: Apache-2.0
// Small pieces the dialogs are built from.
#pragma once

#include <QDialog>
#include <QEvent>
#include <QFont>
#include <QLabel>
#include <QLayout>
#include <QPushButton>

#include <functional>
#include <utility>

namespace DialogParts {

// Runs a callback when its widget receives one kind of event; lets a dialog react
// to being shown without a virtual override in the shared header.
class EventHook : public QObject {
  public:
    EventHook(QObject* target, QEvent::Type type, std::function<bool()> action)
        : QObject(target), type(type), action(std::move(action)) {
        target->installEventFilter(this);
    }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == parent() && event->type() == type) return action();
        return false;
    }

  private:
    QEvent::Type type;
    std::function<bool()> action;
};

inline QLabel* NewLabel(QWidget* parent, const char* name, const QString& text) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(name);
    return label;
}

inline QPushButton* NewButton(QWidget* parent, const char* name, const QString& text) {
    auto* button = new QPushButton(text, parent);
    button->setObjectName(name);
    return button;
}

inline void MakeBold(QLabel* label) {
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
}

// A dialog that keeps the size its contents ask for and has no resize grip.
inline void FixBorder(QDialog* dialog, QLayout* layout) {
    layout->setSizeConstraint(QLayout::SetFixedSize);
    dialog->setSizeGripEnabled(false);
}

} // namespace DialogParts
