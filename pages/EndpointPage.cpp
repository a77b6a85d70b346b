#include "EndpointPage.h"

EndpointPage::EndpointPage(QWidget* parent) : QWidget(parent) {
    setupUi(this);
}
