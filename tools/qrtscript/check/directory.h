// What the directory says of the names in a script. Nothing is changed there.
#ifndef TOOLS_QRTSCRIPT_CHECK_DIRECTORY_H
#define TOOLS_QRTSCRIPT_CHECK_DIRECTORY_H

#include <cstdint>
#include <optional>
#include <string>

struct DirectoryOptions {
    std::optional<std::string> tree;    // none: the configuration's default one
    std::optional<std::string> context; // of names without a leading period; none: the root
    std::optional<std::string> user;    // whose container is the context
    std::optional<std::string> as;      // who logs in to read; none: nobody
    int passwordDescriptor = -1;        // where the password of `as` is; negative: with the person
};

class CheckDirectory {
  public:
    // Throws std::runtime_error with a sentence when the tree cannot be used, the login fails or the user is not found.
    explicit CheckDirectory(const DirectoryOptions &options);
    ~CheckDirectory();
    CheckDirectory(const CheckDirectory &) = delete;
    CheckDirectory &operator=(const CheckDirectory &) = delete;

    // The base class of an object, named as scripts name it; none where there is no such object. Throws
    // std::runtime_error when the directory does not answer, as the others do.
    std::optional<std::string> classOf(const std::string &name) const;
    bool hasServer(const std::string &name) const;
    bool hasTree(const std::string &name) const;
    // Whether the directory knows the attribute of users, with a value or without.
    bool knowsAttribute(const std::string &name) const;
    // Whether an object has a value of the attribute.
    bool hasValue(const std::string &object, const std::string &attribute) const;
    // The login script of an object as a login reads it, with the line end that is put behind it; none where there is
    // no such object, or no script of it.
    std::optional<std::string> scriptOf(const std::string &name) const;
    // The mapping program's reason for refusing a MAP line; empty when it would map all of it.
    std::string mapRefusal(const std::string &line) const;

  private:
    void use(const DirectoryOptions &options);
    uint32_t handle_ = 0;
    std::string tree_, context_;
};

#endif
