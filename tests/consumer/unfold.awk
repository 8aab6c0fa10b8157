# Writes each fenced block of a document that names a file, as in "```cpp main.cpp", to that file below the folder "into".
/^```/ { file = $2; next }
file { print > (into "/" file) }
