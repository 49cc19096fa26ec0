# Sourced. alone COMMAND...: while the command runs, no other's does. The examples start a browser with the profile "work", of
# which there can be one at a time. Expects `tree`, the build tree.
# shellcheck shell=bash
alone() {
  (
    flock 9
    # A service of Wine that starts with the program and stays does not keep the lock.
    "$@" 9>&-
  ) 9>"$tree/profile_work.lock"
}
