// A line comment and a declaration inside "for" are no C89; the header test's flags have to refuse this file.
int kx_header_test_not_c89(void);
int kx_header_test_not_c89(void) {
  int sum = 0;
  for (int i = 0; i < 3; i++)
    sum += i;
  return sum;
}
