#include "platform/client/ldap/identity.h"

#include <cstdlib>
#include <cstring>

LdapIdentity::LdapIdentity(const std::string &distinguishedName, const char *secret)
    : dn_(distinguishedName),
      masked_(std::in_place, strlen(secret), Secret::Forked::copy),
      mask_(std::in_place, strlen(secret), Secret::Forked::copy) {
    arc4random_buf(mask_->text(), mask_->capacity());
    for (size_t i = 0; i < masked_->capacity(); i++)
        masked_->text()[i] = static_cast<char>(secret[i] ^ mask_->text()[i]);
}

Secret LdapIdentity::revealed() const {
    Secret password(masked_->capacity());
    for (size_t i = 0; i < password.capacity(); i++)
        password.text()[i] = static_cast<char>(masked_->text()[i] ^ mask_->text()[i]);
    return password;
}
