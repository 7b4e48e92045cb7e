# The headers are written with plain line comments; Doxygen reads them as documentation.
# Inside comments, <word> names a placeholder in a text, not an HTML tag.
/^ *\/\/ ---- .* ----$/b
s#^\( *\)//\( \|$\)#\1///\2#
/^ *\/\/\//s#<\([^<>]*\)>#\\<\1\\>#g
