// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxPasteboard.h"

#include <QClipboard>
#include <QGuiApplication>

namespace quillmount {

void LinuxPasteboard::setText(const QString &text) {
    QGuiApplication::clipboard()->setText(text);
}

} // namespace quillmount
