// The person at the terminal of a child process.
#ifndef TESTS_SUPPORT_ANSWERS_H
#define TESTS_SUPPORT_ANSWERS_H

// Answers the prompts' questions on `terminal`, rightly for each name that is offered and as jdoe where none is, until
// the program at its other end is gone. A name that the person does not know is given up, so that nothing asks for
// ever.
void answers_type(int terminal);

#endif
