// A tree's directory with what the site adds to it from a folder: login scripts in files, and in `site.ldif` servers,
// volumes, directory maps, profiles, groups, and attributes of the directory's own objects. It is the outermost store:
// what is kept of a directory (copies/) holds only what the directory said.
//
// An object of the folder that is a server, a volume, a directory map or a profile is all that there is of it: the
// directory is not asked. Every other object is the directory's, with the folder's values added. A profile that an
// object names is there also when all that there is of it is its script.
#ifndef PLATFORM_CLIENT_OVERLAY_OVERLAY_STORE_H
#define PLATFORM_CLIENT_OVERLAY_OVERLAY_STORE_H

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/client/core/config.h"
#include "platform/client/core/directory_store.h"
#include "platform/client/overlay/script_files.h"

class OverlayStore : public DirectoryStore {
  public:
    // Reads the folder that the configuration names. `config` must outlive the store. Throws DataError.
    OverlayStore(std::unique_ptr<DirectoryStore> directory, const ConfigTree &config);

    const Name &base() const override { return directory_->base(); }
    EntryPtr find(const Name &name, Aliases aliases) override;
    // As the directory has the user: a login that fails for the folder's sake fails before the password is sent.
    EntryPtr findUser(const LoginName &name) override { return directory_->findUser(name); }
    std::vector<EntryPtr> usersNamed(const std::string &value) override { return directory_->usersNamed(value); }
    // Users are the directory's alone.
    std::vector<Name> usersBelow(const Name &container) override { return directory_->usersBelow(container); }
    std::vector<Name> groupsOf(const Entry &entry) override;
    std::vector<Name> missing(const Name &container, const std::vector<Name> &names) override;
    const OtherAttribute *otherAttribute(const Entry &entry, std::string_view name) override {
        return directory_->otherAttribute(entry, name);
    }
    EntryPtr findServer(std::string_view name) override;
    EntryPtr findVolume(const Entry &server, std::string_view volume) override;
    std::vector<EntryPtr> volumes() override;
    std::vector<Name> ownNames(std::vector<Name> names) override { return directory_->ownNames(std::move(names)); }
    Verdict checkPassword(const Entry &entry, const char *password) override {
        return directory_->checkPassword(entry, password);
    }
    // Reads the folder once more.
    Verdict login(EntryPtr *user, const char *password) override;
    void logout() override;
    void requireScripts(const Entry &user) override { checkScripts(user); }
    void noteLogin() override { directory_->noteLogin(); }
    void changePassword(const Entry &entry, const char *oldPassword, const char *newPassword) override {
        directory_->changePassword(entry, oldPassword, newPassword);
    }
    bool changesPasswords() const override { return directory_->changesPasswords(); }
    // A script that the folder has is changed there, one that only the directory has in the directory, and a first one
    // becomes a file of the folder. One of site.ldif is the site's to change.
    StoredScript readScript(const Entry &entry) override;
    void writeScript(const Entry &entry, const ScriptText &before, const ScriptText &after) override;
    bool scriptIsPrivate(const Entry &entry) override;
    std::vector<EntryPtr> scripts() override;
    Verdict loginAs(const std::string &dn, const char *password) override { return directory_->loginAs(dn, password); }

  private:
    // The folder as it was when it was read.
    struct Site {
        Site(const ConfigTree &config, const Name &base);
        SiteFolder folder;
        ScriptFiles scripts{folder};
        std::unique_ptr<DirectoryStore> entries; // of site.ldif
    };

    EntryPtr ownEntry(const Name &name) const;
    EntryPtr ownObject(const Name &name) const;
    EntryPtr ownEntryOf(const Entry &entry) const;
    Name dnName(const Entry &entry) const;
    const ScriptFile *scriptOf(const Entry &entry, const Entry *own);
    std::pair<Name, EntryPtr> *namedProfile(const Name &name);
    void noteProfile(const Entry &entry);
    EntryPtr profileOfScript(const Name &name);
    EntryPtr merged(const EntryPtr &found, const EntryPtr &own);
    EntryPtr merged(const EntryPtr &found);
    void checkScripts(const Entry &user);
    ScriptText directoryScript(const Entry &entry, StoredScript *stored) const;
    void changeFile(const Entry &entry, const std::string &file, const ScriptText &before, const ScriptText &after);
    void addScriptsBelow(const Name &container, std::vector<EntryPtr> *all);

    std::unique_ptr<DirectoryStore> directory_;
    const ConfigTree &config_;
    std::unique_ptr<Site> site_;
    std::map<EntryPtr, EntryPtr> merged_; // an entry stays the same until the next login
    // Those that entries have named since then, with the entry where the script is all that there is.
    std::vector<std::pair<Name, EntryPtr>> profiles_;
    bool loggedIn_ = false;
};

#endif
