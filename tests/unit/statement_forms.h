// Random lines of the script language for property tests: the forms that a statement may have, written down here once
// more and by themselves, so that the grammar is not its own witness; and the mistakes that people make in them.
#ifndef TESTS_UNIT_STATEMENT_FORMS_H
#define TESTS_UNIT_STATEMENT_FORMS_H

#include <random>
#include <string>
#include <vector>

namespace statement_forms {

// The tokens of one line as written, without blanks between them and without its line end.
using Tokens = std::vector<std::string>;

class Source {
  public:
    // `included` is a readable file.
    Source(unsigned seed, std::string included) : random_(seed), included_(std::move(included)) {}

    // 0 to `limit` - 1.
    size_t below(size_t limit) { return random_() % limit; }
    bool one_in(size_t chances) { return below(chances) == 0; }
    template <typename List>
    const auto &any_of(const List &list) {
        return *(std::begin(list) + static_cast<std::ptrdiff_t>(below(std::size(list))));
    }

    // A statement of any form.
    Tokens statement();
    // One whose tokens do not include `without`.
    Tokens statement_without(const std::string &without);
    // All forms, and a statement of one of them.
    static const std::vector<std::string> &forms();
    Tokens statement_of(const std::string &form) { return expanded(form); }

    // The line: blanks and tabs at random, or where words would grow together; keywords in any letter case.
    std::string written(const Tokens &tokens);
    // The same after a mistake or two.
    std::string mistaken(Tokens tokens);

  private:
    Tokens expanded(const std::string &form);
    void expand(const std::string &symbol, Tokens &tokens);
    std::string letter_case(const std::string &token);
    void damage(Tokens &tokens);
    void damage(std::string &line);

    std::mt19937 random_;
    std::string included_;
    int labels_ = 0;
};

} // namespace statement_forms

#endif
