#include "app/Alert.h"

#include "app/Fonts.h"
#include "app/PushButton.h"
#include "app/ReadOnlyText.h"
#include "app/Symbols.h"

#include <QApplication>
#include <QGridLayout>
#include <QLabel>

namespace nullprint::app {
namespace {

constexpr int iconSide = 48;
constexpr int buttonWidth = 88;
constexpr int smallestWidth = 320;
constexpr int textWidth = 400;
constexpr int textHeight = 240;

bool fits(const QLabel& label)
{
    const auto needed =
        label.fontMetrics().boundingRect(QRect(0, 0, textWidth, 0), Qt::TextWordWrap, label.text());
    return needed.width() <= textWidth && needed.height() <= textHeight;
}

// In the label's place. Names without spaces are broken where the line ends.
void makeScrollable(QGridLayout& layout, QLabel& label)
{
    int row = 0;
    int column = 0;
    int rows = 0;
    int columns = 0;
    layout.getItemPosition(layout.indexOf(&label), &row, &column, &rows, &columns);
    label.hide();
    auto* text = new ReadOnlyText;
    text->setPlainText(label.text());
    text->setFixedSize(textWidth, textHeight);
    text->setAccessibleName(label.text());
    layout.addWidget(text, row, column, rows, columns);
}

void showInformation(QMessageBox& alert, const QString& information)
{
    alert.setInformativeText(information);
    // The box's text format does not reach this label.
    auto* label = alert.findChild<QLabel*>(QStringLiteral("qt_msgbox_informativelabel"));
    label->setTextFormat(Qt::PlainText);
    label->setOpenExternalLinks(false);
    label->setFont(systemFont(fontpixels::body));
    label->setMinimumWidth(smallestWidth);
    if (auto* layout = qobject_cast<QGridLayout*>(alert.layout()); layout && !fits(*label))
        makeScrollable(*layout, *label);
}

// The one of all windows: what is drawn from an icon of the alert's own would stay in Qt's cache.
QIcon sharedIcon()
{
    const auto icon = QApplication::windowIcon();
    return icon.isNull() ? applicationIcon() : icon;
}

} // namespace

QMessageBox* newAlert(QWidget* parent, const QString& message, const QString& information)
{
    auto* alert = new QMessageBox(parent);
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->setWindowTitle(QStringLiteral("Nullprint"));
    alert->setIconPixmap(
        sharedIcon().pixmap(QSize(iconSide, iconSide), alert->devicePixelRatioF()));
    alert->setTextFormat(Qt::PlainText);
    alert->setText(message);
    auto* label = alert->findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
    label->setFont(systemFont(fontpixels::body, QFont::DemiBold));
    auto* ok = new PushButton(QStringLiteral("OK"), PushButton::Look::bordered);
    ok->setMinimumWidth(buttonWidth);
    alert->addButton(ok, QMessageBox::AcceptRole);
    alert->setDefaultButton(ok);
    alert->setEscapeButton(ok);
    if (!information.isEmpty())
        showInformation(*alert, information);
    return alert;
}

} // namespace nullprint::app
