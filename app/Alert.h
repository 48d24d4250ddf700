// Messages with one button.
#pragma once

#include <QMessageBox>

namespace nullprint::app {

// A message with the button “OK”, not shown yet; it deletes itself when it is closed. Both texts
// are shown as they are, and what would not fit on the screen can be scrolled.
QMessageBox* newAlert(QWidget* parent, const QString& message, const QString& information);

} // namespace nullprint::app
