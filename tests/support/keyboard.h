// keyboard.h - what a person does to end a program.
#pragma once

namespace test_support {

// To be made before what is to notice the keys.
class keyboard {
 public:
  keyboard();

  // Ctrl-C for this process alone. It ends a process that does not expect it.
  void press_ctrl_c() const;
};

}  // namespace test_support
