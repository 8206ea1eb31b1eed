// What the client's tests share: a network of their own and verbs over the client's calls.
#ifndef TESTS_SUPPORT_CLIENT_FIXTURE_H
#define TESTS_SUPPORT_CLIENT_FIXTURE_H

#include <gmock/gmock.h>
#include <string>
#include <vector>

#include "platform/client/interface/boundary.h"
#include "tests/support/process.h"

// The flags that a script session works with: aliases followed, typeless and complete names.
constexpr uint32_t session_flags = 0x57;

// A test over the sample network of data/client.toml.
class ClientTest : public ::testing::Test {
  protected:
    ClientTest();
    ~ClientTest() override;

    // Takes another configuration, in a folder of its own.
    void configure(const std::string &toml);

    // A context handle with the session's flags, or with others, and a tree (none: the default tree).
    uint32_t context(uint32_t flags = session_flags, const char *tree = nullptr);
    uint32_t context_at(const char *nameContext, uint32_t flags = session_flags);

    uint32_t login(uint32_t handle, const char *user, const char *password);
    std::string who_am_i(uint32_t handle);
    std::string canonical(uint32_t handle, const char *name);
    std::string abbreviated(uint32_t handle, const char *name);

    // The values of one attribute as text, all replies put together; `lastCode` keeps the code.
    std::vector<std::string> read(uint32_t handle, const char *object, const char *attribute);
    std::string base_class(uint32_t handle, const char *object);
    std::string stream(uint32_t handle, const char *object, const char *attribute);

    uint32_t open_server(const char *name, uint32_t nameFormat = ZK_NAME_ANY);
    std::string text_info(uint32_t connection, uint32_t item);
    uint32_t number_info(uint32_t connection, uint32_t item);

    static std::string last_error();

    TempFolder folder;
    uint32_t lastCode = ZK_OK;

  private:
    std::string take_values(uint32_t handle, ZKDSBuffer *reply, std::vector<std::string> *values);
    std::vector<uint32_t> contexts;
};

#endif
