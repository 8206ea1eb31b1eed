// The directory as the administrator sees it: the tree, the login, objects and their scripts.
#ifndef TOOLS_QRTSCRIPT_OBJECT_SESSION_H
#define TOOLS_QRTSCRIPT_OBJECT_SESSION_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/client/interface/scripts.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtscript/object/options.h"

class TreeSession {
  public:
    // Finds the tree, and logs in where --as says as whom. `options` must outlive the object. All throw Failure.
    explicit TreeSession(const ObjectOptions &options);
    ~TreeSession();
    TreeSession(const TreeSession &) = delete;
    TreeSession &operator=(const TreeSession &) = delete;

    ScriptObject object(const std::string &name) const;
    std::optional<ScriptObject> objectOfFile(const std::string &file) const;
    // Scripts with the end of their last line, which the directory may lack.
    StoredScript read(const ScriptObject &object) const;
    bool isPrivate(const ScriptObject &object) const; // in a file that not everybody may read
    std::vector<ScriptOfObject> list() const;
    // A Failure with exit_changed when the script is no longer `before`, as it was read.
    void write(const ScriptObject &object, const ScriptText &before, const ScriptText &after) const;

    // Has nobody logged in to servers, which may show more to somebody?
    bool isAnonymous() const;

    // After a write that failed: may the script be `after` all the same?
    bool mayBe(const ScriptObject &object, const ScriptText &after) const;

    const std::string &tree() const { return tree_; }

  private:
    std::string kept(const ScriptObject &object, const std::string &text) const;
    void useTree(const ObjectOptions &options);

    uint32_t context_ = 0;
    bool isLoggedIn_ = false;
    std::string tree_;
    mutable std::map<std::string, std::string> unended_; // what the directory has without a line end, by typed names
};

#endif
