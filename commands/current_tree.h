// The session's tree and its move to another one.
#ifndef COMMANDS_CURRENT_TREE_H
#define COMMANDS_CURRENT_TREE_H

// Sets the session's tree, as the network spells it, and prints it; null empties it.
void current_tree_set(const char *tree);

// The TREE statement: logs in to the tree, asking the user as far as necessary, and moves the session there. `user` and
// `password` may be null. Reports a failure.
void current_tree_move(const char *tree, const char *user, const char *password);

#endif
