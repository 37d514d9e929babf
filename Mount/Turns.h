// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

namespace quillmount::mount {

// Whose turn it is on the content of one file: reads go together, writes go together, and a change of the size goes
// alone. Who waits is not overtaken by those who come later. `writing` is the number of writes under way.
struct Turns {
    int reading = 0;        // read calls under way
    int readersWaiting = 0; // readers whose turn comes when the writes under way have ended
    int changesWaiting = 0; // changes of the size that wait for readers and writes
    bool changing = false;  // the size is being set

    bool mayRead(int writing) const { return writing == 0 && !changing && changesWaiting == 0; }
    bool mayChange(int writing) const { return writing == 0 && !changing && reading == 0; }
    bool mayWrite() const { return reading == 0 && readersWaiting == 0 && !changing; }
};

} // namespace quillmount::mount
