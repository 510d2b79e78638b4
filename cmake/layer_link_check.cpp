// The program of a layer's link check (src/CMakeLists.txt): it calls nothing, but it is linked
// with every object of its layer, so each symbol the layer uses must come from the layers it
// links.
int main() {
    return 0;
}
