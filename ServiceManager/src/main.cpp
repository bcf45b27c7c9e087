#include "MainCtrl.h"

int main() {
    return CMainCtrl::Main();
}
