// What the tests of windows share.
#pragma once

#include "app/platform/FileManager.h"
#include "engine/reveal/RevealReport.h"

#include <QAbstractButton>
#include <QApplication>
#include <QColor>
#include <QImage>
#include <QWidget>

#include <cmath>

namespace nullprint::app {

class RecordingFileManager : public FileManager {
public:
    void select(const std::vector<FileURL>& files, std::function<void()> answered) override
    {
        selected.push_back(files);
        if (answers)
            answered();
        else
            unanswered.push_back(std::move(answered));
    }
    std::vector<std::vector<FileURL>> selected;
    std::vector<std::function<void()>> unanswered;
    bool answers = true;
};

inline QAbstractButton* buttonOf(QWidget& window, const QString& text)
{
    for (auto* button : window.findChildren<QAbstractButton*>()) {
        if (button->text() == text)
            return button;
    }
    return nullptr;
}

inline RevealReport withFindings(const std::string& path)
{
    return {FileURL::fromPath(path), "Photo", {{"📍", "Location", "52.5, 13.4"}}, std::nullopt};
}

inline RevealReport withoutFindings(const std::string& path)
{
    return {FileURL::fromPath(path), "Image", {}, std::nullopt};
}

inline RevealReport unsupported(const std::string& path)
{
    return {FileURL::fromPath(path), "File", {}, "“.txt” isn’t a supported type."};
}

inline std::vector<std::string> pathsOf(const std::vector<FileURL>& files)
{
    std::vector<std::string> paths;
    for (const auto& file : files)
        paths.push_back(file.path());
    return paths;
}

// The ratio of https://www.w3.org/TR/WCAG21/#dfn-contrast-ratio.
inline double contrast(const QColor& one, const QColor& other)
{
    const auto linear = [](double c) {
        return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    const auto luminance = [&](const QColor& color) {
        return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
               0.0722 * linear(color.blueF());
    };
    const auto a = luminance(one);
    const auto b = luminance(other);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

// For as long as it lives the application has that palette. Widgets are told by an event.
class DesktopPalette {
public:
    explicit DesktopPalette(const QPalette& palette)
    {
        QApplication::setPalette(palette);
        QApplication::processEvents();
    }
    DesktopPalette(const DesktopPalette&) = delete;
    DesktopPalette& operator=(const DesktopPalette&) = delete;
    ~DesktopPalette()
    {
        QApplication::setPalette(QPalette());
        QApplication::processEvents();
    }
};

} // namespace nullprint::app
