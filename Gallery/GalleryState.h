// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QList>
#include <QQmlContext>
#include <QString>

#include <functional>
#include <memory>

namespace quillmount {

// A view in one of its states, of which the gallery takes pictures.
struct GalleryState {
    QString name; // of the pictures' files
    QString qml;  // one object; QtQuick and the components are imported
    // Further imports of `qml`.
    QString imports = {};
    // Puts into the context what `qml` names. What it returns lives as long as the picture is taken.
    std::function<std::shared_ptr<void>(QQmlContext &)> context = {};
    // The moment of what moves.
    double seconds = 0;
    bool reduceMotion = false;
    // How long to wait for what changes by and by, in milliseconds.
    int settle = 0;
    // The desktop's font.
    QString font = QStringLiteral("Inter");
    // Around the view, in points; none for what fills a window.
    int margin = 16;
};

// Each module's states; main.cpp puts them together.
[[nodiscard]] QList<GalleryState> componentStates();
[[nodiscard]] QList<GalleryState> menuPanelStates();
[[nodiscard]] QList<GalleryState> settingsStates();

} // namespace quillmount
