#include "AudioPage.h"

AudioPage::AudioPage(QWidget* parent) : QWidget(parent) {
    setupUi(this);
}
