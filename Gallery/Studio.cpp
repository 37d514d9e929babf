// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Gallery/Studio.h"

#include "App/UI/Components/FrameTime.h"

#include <QEventLoop>
#include <QFont>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickRenderControl>
#include <QQuickRenderTarget>
#include <QQuickWindow>
#include <QTimer>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<QQuickItem> build(const GalleryState &state, QQmlContext &context) {
    const QString source = u"import QtQuick\nimport Quillmount.Components\n%1\n"
                           "Rectangle { color: Colors.windowBackground\n"
                           "width: stage.width + 2 * %2; height: stage.height + 2 * %2\n"
                           "Item { id: stage; x: %2; y: %2; width: childrenRect.width; height: childrenRect.height\n"
                           "%3 } }"_s.arg(state.imports, QString::number(state.margin), state.qml);
    QQmlComponent component(context.engine());
    component.setData(source.toUtf8(), QUrl(u"qrc:/gallery/"_s + state.name));
    std::unique_ptr<QObject> object(component.create(&context));
    if (!object)
        qFatal("%s", qPrintable(component.errorString()));
    return std::unique_ptr<QQuickItem>(qobject_cast<QQuickItem *>(object.release()));
}

// Goes by the items that are seen: what a view makes from a model is no child of it as an object.
void setMoment(const QQuickItem &item, double seconds) {
    for (QQuickItem *child : item.childItems()) {
        if (auto *time = qobject_cast<FrameTime *>(child))
            time->setSeconds(seconds);
        setMoment(*child, seconds);
    }
}

} // namespace

QImage Studio::picture(const GalleryState &state, Appearance::ColorScheme scheme, int scale) {
    QGuiApplication::setFont(QFont(state.font));
    m_platform.appearance().setColorScheme(scheme);
    m_platform.appearance().setReducesMotion(state.reduceMotion);

    QQmlEngine engine;
    QObject::connect(&engine, &QQmlEngine::warnings,
                     [](const QList<QQmlError> &warnings) { qFatal("%s", qPrintable(warnings.first().toString())); });
    QQmlContext context(engine.rootContext());
    const std::shared_ptr<void> named = state.context ? state.context(context) : nullptr;
    QQuickRenderControl control;
    QQuickWindow window(&control);
    const std::unique_ptr<QQuickItem> view = build(state, context);
    view->setParentItem(window.contentItem());
    setMoment(*view, state.seconds);
    // Layouts settle and tooltips open from the event loop.
    QCoreApplication::processEvents();
    if (state.settle > 0) {
        QEventLoop wait;
        QTimer::singleShot(state.settle, &wait, &QEventLoop::quit);
        wait.exec();
    }

    const QSize size(qCeil(view->width()), qCeil(view->height()));
    QImage image(size * scale, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    image.setDevicePixelRatio(scale);
    window.setGeometry(QRect(QPoint(0, 0), size));
    window.contentItem()->setSize(size);
    QQuickRenderTarget target = QQuickRenderTarget::fromPaintDevice(&image);
    target.setDevicePixelRatio(scale);
    window.setRenderTarget(target);
    control.polishItems();
    control.beginFrame();
    control.sync();
    control.render();
    control.endFrame();
    image.setDevicePixelRatio(1);
    return image;
}

} // namespace quillmount
