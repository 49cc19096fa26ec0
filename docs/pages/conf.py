"""Sphinx' settings for the pages that build.py puts together."""

import os

project = "KXTCP64"
version = release = os.environ["KX_VERSION"]
author = "The KXTCP64 authors"
copyright = author  # noqa: A001  Sphinx' own name
language = "en"
# Texts of the library are shown as they are.
smartquotes = False

extensions = ["myst_parser", "breathe"]
source_suffix = {".md": "markdown", ".rst": "restructuredtext"}
myst_heading_anchors = 4
myst_enable_extensions = ["deflist"]

breathe_projects = {project: os.environ["KX_DOXYGEN_XML"]}
breathe_default_project = project
breathe_domain_by_extension = {"h": "c"}
nitpicky = True

html_theme = "furo"
html_title = f"KXTCP64 {release}"
html_copy_source = False
html_show_sourcelink = False
html_show_copyright = False
html_last_updated_fmt = None
html_static_path = ["_static"]
html_css_files = ["pages.css"]
html_js_files = ["pages.js"]
html_theme_options = {"navigation_with_keys": True}
# Programs of all kinds stand in fences without a language.
highlight_language = "none"
pygments_style = "tango"
