#pragma once

#include <QSize>

class QDialog;
class QWidget;

// The largest size of the window's content, in pixels, with which window and frame fit on the screen.
QSize maxContentSize(const QWidget *window);

// Finishes the dialog's layout each time before QDialog places it. Without this, a dialog whose widgets ask
// for more space when they are first shown grows after it was placed, and may leave the screen.
void layOutBeforePlacing(QDialog *dialog);
