# Writes a C++ source that defines a text file as a string: cmake -DTEXT=file -DSOURCE=file -DNAME=identifier -P ...
file(READ ${TEXT} content)
file(WRITE ${SOURCE} "namespace veyrin {
extern const char ${NAME}[];
const char ${NAME}[] = R\"text(${content})text\";
}  // namespace veyrin
")
