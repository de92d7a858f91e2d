# Filled in together with the shared library.
