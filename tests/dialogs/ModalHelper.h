// Answers the next modal window from inside its event loop: waits until a modal
// widget is up, then hands it to the test's function (which must close it).
#pragma once

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QStringList>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <memory>

inline void AnswerNextModal(std::function<void(QWidget*)> answer) {
    auto* timer = new QTimer;
    auto clock = std::make_shared<QElapsedTimer>();
    clock->start();
    timer->setInterval(5);
    QObject::connect(timer, &QTimer::timeout, [timer, clock, answer] {
        QWidget* modal = QApplication::activeModalWidget();
        if (modal == nullptr && clock->elapsed() < 5000) return;
        timer->stop();
        timer->deleteLater();
        if (modal != nullptr) answer(modal);
    });
    timer->start();
}

// The non-empty label texts of a window, in the order they were made.
inline QStringList LabelTexts(const QWidget* window) {
    QStringList texts;
    for (const QLabel* label : window->findChildren<QLabel*>())
        if (!label->text().isEmpty()) texts << label->text();
    return texts;
}
