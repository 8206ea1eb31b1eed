// What the tests of whole runs share: a network with one user, the request, and what a run left.
#ifndef RUN_SEQUENCE_FIXTURE_H
#define RUN_SEQUENCE_FIXTURE_H

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <tuple>

#include "run/run_sequence.h"
#include "tests/unit/session_fixture.h"

// The session as a run has filled it.
struct Snapshot {
    std::string object, login, context, initial, tree, password, variables, alias, script_of;
    uint32_t ctx = 0;
    int32_t gui = 0;
};

// jdoe is logged in to ACME_TREE with the full name CN=jdoe.OU=sales.O=acme; SRV1 is the tree's default server. The
// default script's program writes "map ran".
class RunSequenceTest : public SessionTest {
  protected:
    RunSequenceTest() {
        folder_.script("map", "echo map ran");
        declare_network();
        args_.treename = hold("acme_tree");
        args_.user = hold("jdoe");
        before_.clear();
    }
    ~RunSequenceTest() override { signal(SIGINT, SIG_DFL); }

    static void declare_network() {
        spy::reset();
        spy::tree("ACME_TREE", "SRV1");
        spy::logged_in("CN=jdoe.OU=sales.O=acme");
    }

    // A text of the request, writable.
    char *hold(const std::string &value) {
        texts_.push_back(std::make_unique<std::string>(value));
        return texts_.back()->data();
    }

    // A local script file's path for the request.
    char *file(const std::string &name, const std::string &content) {
        folder_.file(name, content);
        return hold(folder_.path(name));
    }

    // One whole session. `prepare` comes between the start and the run.
    uint32_t run_all(const std::function<void()> &prepare = [] {}) {
        qrt_init(nullptr, stream_);
        prepare();
        debug_level = trace_level_;
        if (keeps_snapshots_) spy::on_call([this](const std::string &call) { look(call); });
        const uint32_t result = qrt_RunScripts(&args_);
        debug_level = 0;
        spy::on_call(nullptr);
        // The session's end has closed descriptor 0.
        const int null = open("/dev/null", O_RDWR);
        if (null > 0) {
            dup2(null, 0);
            close(null);
        }
        printed_ = output();
        return result;
    }

    // What the scripts wrote: the output behind the line about the server.
    std::string scripts() {
        const std::string last = "You are attached to server SRV1\n";
        const size_t at = printed_.find(last);
        if (at == std::string::npos) return "no server: " + printed_;
        EXPECT_EQ(printed_.back(), '\0') << "the end marker";
        return printed_.substr(at + last.size(), printed_.size() - at - last.size() - 1);
    }

    // The run's script sources, by the objects that were asked for their scripts.
    static std::vector<std::string> asked() {
        std::vector<std::string> objects;
        for (const std::string &call : spy::calls("ZKDSOpenStream")) {
            const size_t from = call.find('"') + 1;
            objects.push_back(call.substr(from, call.find('"', from) - from));
        }
        return objects;
    }

    QrtRunScriptsArgs args_ = {};
    std::string printed_;
    int32_t trace_level_ = 0;
    bool keeps_snapshots_ = true;
    Snapshot last_;                // the session when the client was called last with an object set
    std::vector<Snapshot> before_; // at each call that opens a stream

  private:
    void look(const std::string &call) {
        if (!CurrentObject) return;
        last_ = {shown(CurrentObject),
                 shown(LoginName),
                 shown(CurrentContext),
                 shown(InitialContext),
                 shown(CurrentTree),
                 shown(CurrentPassword),
                 variables(),
                 LoginAliasContext,
                 shown(objname),
                 ctx,
                 g_useGUI};
        if (call.rfind("ZKDSOpenStream", 0) == 0) before_.push_back(last_);
    }

    std::vector<std::unique_ptr<std::string>> texts_;
};

#endif
