/* A program image that nothing starts: its loadable parts are what a test looks at. */
const unsigned char loadable_table[37] = {1, 2, 3, 5, 8, 13, 21, 34, 55, 89, 144, 233, 255};
unsigned loadable_words[9] = {0x01234567u, 0x89ABCDEFu, 42u};
unsigned loadable_zeros[50];

unsigned loadable_entry(unsigned at) {
  return loadable_table[at % 37] + loadable_words[at % 9] + loadable_zeros[at % 50];
}
