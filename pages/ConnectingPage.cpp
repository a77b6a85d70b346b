#include "ConnectingPage.h"

ConnectingPage::ConnectingPage(QWidget* parent) : QWidget(parent) {
    setupUi(this);
}
