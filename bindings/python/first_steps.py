"""Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox.

    py first_steps.py BROWSER MACRO-TEXT
"""

import sys

import kxtcp64

try:
    with kxtcp64.Browser.start(profile="work", program=sys.argv[1]) as browser:
        browser.set_variable("city", "Oslo")
        for extract in browser.play(sys.argv[2]).extracts:
            print(extract)
except kxtcp64.KxError as error:
    sys.exit(str(error))
