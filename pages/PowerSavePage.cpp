#include "PowerSavePage.h"

PowerSavePage::PowerSavePage(QWidget* parent) : QWidget(parent) {
    setupUi(this);
}
