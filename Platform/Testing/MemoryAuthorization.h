// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Authorization.h"
#include "Platform/OneShot.h"

#include <QList>

#include <optional>
#include <utility>

namespace quillmount {

// A question that stays open until the test answers it.
class MemoryAuthorization final : public Authorization {
public:
    [[nodiscard]] QCoro::Task<Outcome> run(Verb verb) override {
        if (m_question)
            co_return Outcome::failed;
        m_asked.append(verb);
        OneShot<Outcome> question;
        m_question = question;
        const Outcome outcome = co_await question;
        co_return outcome;
    }
    void cancel() override { answer(Outcome::declined); }

    // Ends the run that waits.
    void answer(Outcome outcome) {
        if (auto question = std::exchange(m_question, std::nullopt))
            question->set(outcome);
    }
    [[nodiscard]] bool isAsking() const { return m_question.has_value(); }
    // The verbs of all runs.
    [[nodiscard]] const QList<Verb> &asked() const { return m_asked; }

private:
    std::optional<OneShot<Outcome>> m_question;
    QList<Verb> m_asked;
};

} // namespace quillmount
