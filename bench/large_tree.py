"""The records of a large tree below o=acme, to be added to those of examples/acme: 100 departments, 100,000 users, and
5,000 groups of 20 users, one in five of which has jdoe as well. Written to standard output."""
import sys


def records():
    for dept in range(100):
        yield f"\ndn: ou=dept{dept},o=acme\nobjectClass: organizationalUnit\nou: dept{dept}\n"
    for user in range(100000):
        yield (f"\ndn: cn=user{user},ou=dept{user % 100},o=acme\nobjectClass: inetOrgPerson\nobjectClass: qrtUser\n"
               f"cn: user{user}\nsn: User\ndisplayName: User {user}\ntelephoneNumber: +1 555 {user:06}\n"
               f"qrtHomeDirectory: 0#cn=SRV1_USERS,o=acme#home/user{user}\n")
    for group in range(5000):
        yield f"\ndn: cn=group{group},ou=dept{group % 100},o=acme\nobjectClass: groupOfNames\ncn: group{group}\n"
        if group % 5 == 0:
            yield "member: cn=jdoe,ou=sales,o=acme\n"
        for user in range(group * 20, group * 20 + 20):
            yield f"member: cn=user{user},ou=dept{user % 100},o=acme\n"


if __name__ == "__main__":
    sys.stdout.writelines(records())
