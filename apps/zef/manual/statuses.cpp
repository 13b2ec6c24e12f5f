#include "manual/statuses.h"

#include "failures.h"

std::vector<StatusRow> statusTable() {
    return {{EXIT_DONE, "done"},
            {EXIT_COULD_NOT,
             "could not: a file that cannot be read or written, points without a surface, too little memory; of check "
             "also a mesh that is not closed, manifold and oriented"},
            {EXIT_USAGE, "usage: an option or a name that means nothing"},
            {EXIT_CANCELLED, "interrupted; nothing was written"}};
}

std::string statusWords() {
    std::string words = "Exit status:";
    for (const StatusRow& row : statusTable()) {
        words.append(" ").append(std::to_string(row.status)).append(" ");
        words.append(row.words.substr(0, row.words.find_first_of(":;")));
        words.append(row.status == EXIT_CANCELLED ? "." : ",");
    }
    return words;
}
