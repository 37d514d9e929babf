// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>

namespace quillmount {

// Asks an administrator for leave, and runs the one program of this application that acts with it. What the program
// does is fixed; who asks chooses nothing but the verb.
class Authorization {
public:
    enum class Verb { install, uninstall };
    enum class Outcome {
        completed, // the program ran to its end
        declined,  // whoever was asked said no, or knew no password
        notAsked,  // nobody could be asked
        failed,    // leave was given, and the program failed; it may have done a part
    };

    virtual ~Authorization() = default;

    // One run at a time: `failed` while another is under way. Waits for the user without a time limit.
    [[nodiscard]] virtual QCoro::Task<Outcome> run(Verb verb) = 0;
    // Takes back a question that nobody has answered yet: the run ends as declined, and nothing is changed after this.
    // A program that already runs ends by itself.
    virtual void cancel() = 0;
};

} // namespace quillmount
