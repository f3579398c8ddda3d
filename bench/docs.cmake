# Building and writing result documents: the tool's XML and JSON libraries, side by side with
# pugixml and RapidJSON when their Debian packages are installed.
kel_bench(KELInsDocuments_bench ${CMAKE_CURRENT_SOURCE_DIR}/KELInsDocuments_bench.cpp DEPS KELInsJSON KELInsXML)
