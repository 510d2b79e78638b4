# Builds one display style from the default one: its templates and pictures are the default's,
# its style sheet is the default's followed by its own rules.
#   cmake -DSOURCE=<resources/Templates/style> -DDEFAULT=<built default> -DTARGET=<built style> -P
file(REMOVE_RECURSE ${TARGET})
file(COPY ${DEFAULT}/ DESTINATION ${TARGET})
file(READ ${DEFAULT}/style.css base)
file(READ ${SOURCE}/style.css own)
file(WRITE ${TARGET}/style.css "${base}${own}")
