"""prompts.py KIND BUILD_DIR: each prompt in a window of KIND (x11, wayland): what it shows, how it is answered and
cancelled, and what the caller gets."""
import sys
import unittest

from desktop import Desktop, text_of, wait_for


class Login(unittest.TestCase):
    def test_the_password_is_typed_where_the_focus_is(self):
        asked = desktop.ask("login", "ACME_TREE", "jdoe.sales")
        self.assertEqual(asked.focus().getRoleName(), "password text")
        asked.type("sun \u00dfflower\u20ac\n")
        self.assertEqual(asked.answer(), "login=0 user=jdoe.sales password=sun \u00dfflower\u20ac")


if __name__ == "__main__":
    kind, build = sys.argv[1:3]
    with Desktop(kind, build) as desktop:
        unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
