#include "app/UIModel.h"

namespace nullprint::app {

void UIModel::setFilesChecked(qint64 count)
{
    if (checked == count)
        return;
    checked = count;
    emit changed();
}

void UIModel::setFilesCleaned(qint64 count)
{
    if (cleaned == count)
        return;
    cleaned = count;
    emit changed();
}

void UIModel::setLastCleanText(const QString& text)
{
    if (lastClean == text)
        return;
    lastClean = text;
    emit changed();
}

void UIModel::setLoginOn(bool on)
{
    login = on;
    emit changed();
}

} // namespace nullprint::app
