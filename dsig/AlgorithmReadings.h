// Which reading of the algorithm table (AlgorithmTable.h) verified each part of the last
// verification, for logs and reports.
#pragma once

#include <string>
#include <vector>

namespace xmldsig {

struct AlgorithmReadings {
    static constexpr int kNone = 0;    // not verified (or not checked)
    static constexpr int kFirst = 1;   // the established recognition
    static constexpr int kSecond = 2;  // the standard algorithm (or the general engine)

    int signature = kNone;
    std::vector<int> references;         // by reference index
    std::vector<std::string> secondWhy;  // by reference index: why the second reading ran

    void setReference(int index, int reading, const std::string& why = std::string()) {
        if (index < 0) return;
        if (references.size() <= static_cast<std::size_t>(index)) {
            references.resize(static_cast<std::size_t>(index) + 1, kNone);
            secondWhy.resize(static_cast<std::size_t>(index) + 1);
        }
        references[static_cast<std::size_t>(index)] = reading;
        secondWhy[static_cast<std::size_t>(index)] = why;
    }
    int reference(int index) const {
        return index >= 0 && static_cast<std::size_t>(index) < references.size()
                   ? references[static_cast<std::size_t>(index)]
                   : kNone;
    }
};

}  // namespace xmldsig
