#pragma once

class QPushButton;
class QString;

// Sets the minimum width at which `text` keeps clear of the button's border. Styles leave a long text no
// margin, and ask for more width than a short text needs in a full row.
void setMinimumWidthFor(QPushButton *button, const QString &text);
