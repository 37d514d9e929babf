// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QQuickView>
#include <QUrl>

namespace quillmount {

// A window around one view, as large as the view asks to be and no larger than the screen lets it.
class SceneWindow : public QQuickView {
    Q_OBJECT

public:
    // `engine` and the objects among the properties outlive this window.
    SceneWindow(QQmlEngine &engine, const QUrl &view, const QVariantMap &properties);
    ~SceneWindow() override;
    Q_DISABLE_COPY_MOVE(SceneWindow)

    // Shows it, in the centre of the screen the first time, and brings it to the front. The token is for `Activation`.
    void open(const QByteArray &activationToken);

Q_SIGNALS:
    // It was closed, or hidden in any other way.
    void closed();

protected:
    void hideEvent(QHideEvent *event) override;

private:
    void fitView();
};

} // namespace quillmount
