# The install components: every install() names one, and each becomes one
# Debian package (cmake/KorvanePackaging.cmake).
set(KORVANE_RUNTIME_COMPONENT runtime)
set(KORVANE_DEVELOPMENT_COMPONENT development)
set(KORVANE_TOOLS_COMPONENT tools)
set(KORVANE_VIRTUAL_MODULE_COMPONENT virtual-module)
set(KORVANE_PYTHON_COMPONENT python)
