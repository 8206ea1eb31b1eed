"""left_alone.py BUILD_DIR: a person has no time limit. Each window stays for longer than a program that gives no sign of
life would be waited for, and is answered then."""
import sys
import time

from desktop import Desktop

LONGER_THAN_WAITED_FOR = 12  # seconds

if __name__ == "__main__":
    prompts = {"login=0 user=jdoe password=x1": ("login", "ACME", "jdoe"), "confirm=4": ("confirm", "Log out?", "12"),
               "pause=0": ("pause",)}
    with Desktop("x11", sys.argv[1]) as desktop:
        asked = {answer: desktop.ask(*words) for answer, words in prompts.items()}
        for one in asked.values():
            one.focus()
        time.sleep(LONGER_THAN_WAITED_FOR)
        for answer, one in asked.items():
            if answer.startswith("login"):
                one.focus()  # which another window has had since
                one.type("x1\n")
            else:
                one.press("Yes" if answer == "confirm=4" else "Continue")
            got = one.answer()
            if got != answer:
                sys.exit(f"got {got} for {answer}")
