# Sourced by the scripts that run tests. What is left over in somebody's shell must not choose tests, switch checks off or
# move results: a verb sets what it needs itself. KX_FIREFOX and KX_CHROME stay, for they only say where the browsers are, and so
# do those of ./dev sdk --sign.
for variable in $(compgen -e); do
  case $variable in
    KX_FIREFOX | KX_CHROME | KX_SIGN_*) ;;
    GTEST_* | TESTBRIDGE_TEST_ONLY | CTEST_* | KX_* | KXB_* | KXSIM_* | KORVEX_* | *SAN_OPTIONS | LLVM_PROFILE_FILE)
      unset "$variable"
      ;;
  esac
done
unset variable
