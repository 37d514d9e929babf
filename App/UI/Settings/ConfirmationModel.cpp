// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Settings/ConfirmationModel.h"

#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

void ConfirmationModel::ask(const ConfirmationContent &content) {
    show(Phase::asking, content);
}

void ConfirmationModel::work(const QString &progress) {
    ConfirmationContent content = m_content;
    content.action = progress;
    show(Phase::working, content);
}

void ConfirmationModel::stop(const QString &title, const QString &reason) {
    show(Phase::stopped, {.title = title, .message = reason, .action = {}});
}

void ConfirmationModel::close() {
    show(Phase::closed, m_content);
}

QString ConfirmationModel::cancelTitle() const {
    return m_phase == Phase::stopped ? u"Close"_s : u"Cancel"_s;
}

void ConfirmationModel::confirm() {
    if (isAsking())
        Q_EMIT confirmed();
}

void ConfirmationModel::cancel() {
    if (!isWorking())
        close();
}

void ConfirmationModel::show(Phase phase, const ConfirmationContent &content) {
    const bool isSamePhase = std::exchange(m_phase, phase) == phase;
    const bool isSameContent = std::exchange(m_content, content) == content;
    if (!isSamePhase || !isSameContent)
        Q_EMIT changed();
}

} // namespace quillmount
