// The panel: what Nullprint is, the ways in, the login switch, and the totals.
#pragma once

#include "app/AppActions.h"
#include "app/UIModel.h"

#include <QWidget>

class QLabel;

namespace nullprint::app {

class Switch;

// Shows the model as it is at any time. Its width is fixed and its height follows; as a window of
// its own it resizes itself.
class PopoverView : public QWidget {
    Q_OBJECT

public:
    PopoverView(UIModel& model, AppActions actions, QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QWidget* header();
    QWidget* headline();
    QWidget* waysIn();
    QWidget* loginRow();
    void showModel();
    void fit();
    void takeColors();

    UIModel& model;
    AppActions actions;
    Switch* login = nullptr;
    QLabel* footer = nullptr;
};

} // namespace nullprint::app
