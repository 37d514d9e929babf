// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Alerts.h"

#include <QList>

#include <functional>
#include <utility>

namespace quillmount {

// Answers from a script and remembers what was said.
class MemoryAlerts final : public Alerts {
public:
    struct Question {
        QString message;
        QString informative;
        QStringList buttons;
    };
    struct Notice {
        QString title;
        QString text;
        QString kind;
    };

    [[nodiscard]] int ask(const QString &message, const QString &informative, const QStringList &buttons) override {
        m_questions.append({message, informative, buttons});
        if (m_whileAsking)
            m_whileAsking();
        return m_answers.isEmpty() ? 0 : m_answers.takeFirst();
    }
    void raise() override { ++m_raised; }
    void dismiss() override { ++m_dismissed; }
    void notify(const QString &title, const QString &text, const QString &kind = {}) override {
        m_notices.append({title, text, kind});
    }

    // The button for the next question that has none yet. Without one a question is answered by its default button.
    void answerNext(int button) { m_answers.append(button); }

    // Called inside every question, as what happens while it stands.
    void whileAsking(std::function<void()> action) { m_whileAsking = std::move(action); }

    [[nodiscard]] const QList<Question> &questions() const { return m_questions; }
    [[nodiscard]] const QList<Notice> &notices() const { return m_notices; }
    // How often `raise` was called.
    [[nodiscard]] int raised() const { return m_raised; }
    // How often `dismiss` was called.
    [[nodiscard]] int dismissed() const { return m_dismissed; }

private:
    QList<int> m_answers;
    std::function<void()> m_whileAsking;
    QList<Question> m_questions;
    QList<Notice> m_notices;
    int m_raised = 0;
    int m_dismissed = 0;
};

} // namespace quillmount
