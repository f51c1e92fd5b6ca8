# A Windows program's text lines as the cases expect them: ends of lines, and what the system says of its error codes.
s/\r$//
s/Error: (File|Path) not found\.$/Error: No such file or directory/
s/Error: Can't delete current directory\.$/Error: Device or resource busy/
s/Error: Access denied\.$/Error: Input\/output error/
