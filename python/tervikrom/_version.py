"""The package's version: the library's, which the build checks it against."""
__version__ = "18.2.0"
