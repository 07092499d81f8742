// Only there so that the headers that most tests include are compiled once for all of them.
