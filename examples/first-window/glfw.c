/* SPDX-License-Identifier: Apache-2.0 */

/* The same as main.c in a game with GLFW and OpenGL: messages are painted into memory and drawn over the scene as a
 * texture. A press that hits no message records the event "buy". */
#define GL_GLEXT_PROTOTYPES
#include <GLFW/glfw3.h>
#include <math.h>
#include <oqsdk/c/oqsdk.h>
#include <stdio.h>
#include <stdlib.h>

typedef struct Game {
  GLFWwindow* window;
  oq_surface* surface;
  oq_buffer buffer; /* what the texture shows */
  GLuint texture;
  bool is_frame_wanted, has_message;
} Game;

static Game game = {NULL, NULL, OQ_BUFFER_INIT, 0, true, false};

/* ---- The library's loop and pixels */

static void wake(void* data) {
  (void)data;
  glfwPostEmptyEvent(); /* may be called on any thread */
}

static void frame_wanted(oq_surface* surface, void* data) {
  (void)surface;
  ((Game*)data)->is_frame_wanted = true;
}

/* Paints what has changed, and copies only that part to the texture. */
static void paint_messages(Game* self) {
  oq_rect damage = {0, 0, 0, 0};
  int32_t width, height;
  self->is_frame_wanted = false;
  if (oq_surface_pixel_size(self->surface, &width, &height) != OQ_OK) return;
  if (width != self->buffer.width || height != self->buffer.height) {
    uint32_t* pixels = realloc(self->buffer.pixels, (size_t)width * (size_t)height * sizeof *pixels);
    if (!pixels) return;
    self->buffer.pixels = pixels;
    self->buffer.width = width;
    self->buffer.height = height;
    self->buffer.stride = width * 4;
    self->buffer.holds_last_frame = false;
  }
  const oq_frame frame = oq_surface_paint(self->surface, &self->buffer, &damage);
  if (frame == OQ_FRAME_ERROR) return;
  self->has_message = frame != OQ_FRAME_NOTHING;
  glBindTexture(GL_TEXTURE_2D, self->texture);
  if (!self->buffer.holds_last_frame)
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, NULL);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, width);
  if (damage.width > 0)
    glTexSubImage2D(GL_TEXTURE_2D, 0, damage.x, damage.y, damage.width, damage.height, GL_BGRA,
                    GL_UNSIGNED_INT_8_8_8_8_REV, self->buffer.pixels + (size_t)damage.y * (size_t)width + damage.x);
  self->buffer.holds_last_frame = true;
}

static void draw_messages(const Game* self) {
  if (!self->has_message) return;
  glEnable(GL_TEXTURE_2D);
  glEnable(GL_BLEND);
  glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA); /* the pixels are multiplied by alpha already */
  glColor4f(1, 1, 1, 1);
  glBindTexture(GL_TEXTURE_2D, self->texture);
  glBegin(GL_TRIANGLE_STRIP);
  glTexCoord2f(0, 0), glVertex2f(-1, 1);
  glTexCoord2f(1, 0), glVertex2f(1, 1);
  glTexCoord2f(0, 1), glVertex2f(-1, -1);
  glTexCoord2f(1, 1), glVertex2f(1, -1);
  glEnd();
  glDisable(GL_BLEND);
  glDisable(GL_TEXTURE_2D);
}

/* ---- The scene: a wheel that turns */

static void draw_scene(double time) {
  static const float colors[3][3] = {{0.95f, 0.42f, 0.25f}, {0.98f, 0.78f, 0.27f}, {0.36f, 0.63f, 0.91f}};
  int width, height;
  glfwGetFramebufferSize(game.window, &width, &height);
  const double shorter = width < height ? width : height;
  glViewport(0, 0, width, height);
  glClearColor(0.10f, 0.11f, 0.16f, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  for (int part = 0; part < 12; ++part) {
    const double from = time * 0.4 + part * 0.5236, to = from + 0.5236;
    glColor3fv(colors[part % 3]);
    glBegin(GL_TRIANGLES);
    glVertex2d(0, 0);
    glVertex2d(1.25 * cos(from) * shorter / width, 1.25 * sin(from) * shorter / height);
    glVertex2d(1.25 * cos(to) * shorter / width, 1.25 * sin(to) * shorter / height);
    glEnd();
  }
}

/* ---- Input: the library is asked first */

static void moved(GLFWwindow* window, double x, double y) {
  (void)window;
  if (glfwGetMouseButton(game.window, GLFW_MOUSE_BUTTON_LEFT) == GLFW_PRESS)
    oq_surface_touch(game.surface, 0, OQ_TOUCH_MOVED, x, y);
  else
    oq_surface_pointer(game.surface, true, x, y);
}

static void pressed(GLFWwindow* window, int button, int action, int modifiers) {
  double x, y;
  (void)modifiers;
  if (button != GLFW_MOUSE_BUTTON_LEFT) return;
  glfwGetCursorPos(window, &x, &y);
  const oq_touch phase = action == GLFW_PRESS ? OQ_TOUCH_BEGAN : OQ_TOUCH_ENDED;
  if (oq_surface_touch(game.surface, 0, phase, x, y)) return;
  if (action == GLFW_PRESS && oq_record("buy", NULL) != OQ_OK) fprintf(stderr, "%s\n", oq_last_error());
}

static void key_pressed(GLFWwindow* window, int key, int scancode, int action, int modifiers) {
  (void)scancode;
  if (action == GLFW_RELEASE) return;
  oq_key known = OQ_KEY_OTHER;
  if (key == GLFW_KEY_TAB) known = modifiers & GLFW_MOD_SHIFT ? OQ_KEY_BACK_TAB : OQ_KEY_TAB;
  if (key == GLFW_KEY_ENTER || key == GLFW_KEY_SPACE) known = OQ_KEY_RETURN;
  if (key == GLFW_KEY_ESCAPE) known = OQ_KEY_ESCAPE;
  if (key == GLFW_KEY_UP) known = OQ_KEY_UP;
  if (key == GLFW_KEY_DOWN) known = OQ_KEY_DOWN;
  if (oq_surface_key(game.surface, known)) return;
  if (key == GLFW_KEY_ESCAPE) glfwSetWindowShouldClose(window, GLFW_TRUE);
}

static void scrolled(GLFWwindow* window, double dx, double dy) {
  double x, y;
  glfwGetCursorPos(window, &x, &y);
  oq_surface_scroll(game.surface, x, y, -40 * dx, -40 * dy);
}

/* ---- The window */

static void resized(GLFWwindow* window) {
  int width, height, pixels, unused;
  glfwGetWindowSize(window, &width, &height);
  glfwGetFramebufferSize(window, &pixels, &unused);
  if (width > 0) oq_surface_set_size(game.surface, width, height, (double)pixels / width);
}

static void size_changed(GLFWwindow* window, int width, int height) {
  (void)width, (void)height;
  resized(window);
}

static void minimised(GLFWwindow* window, int is_minimised) {
  (void)window;
  oq_surface_set_visible(game.surface, !is_minimised);
}

static void focused(GLFWwindow* window, int is_focused) {
  (void)window;
  oq_surface_set_focused(game.surface, is_focused);
}

static bool start_messages(void) {
  oq_init_options init = OQ_INIT_OPTIONS_INIT;
  init.application = "com.example.FirstWindow";
  oq_surface_options surface = OQ_SURFACE_OPTIONS_INIT;
  surface.frame_wanted = frame_wanted;
  surface.data = &game;
  if (oq_init(&init) != OQ_OK || oq_on_wake(wake, NULL, NULL) != OQ_OK) return false;
  game.surface = oq_surface_new(&surface);
  if (!game.surface) return false;
  oq_start_options start = OQ_START_OPTIONS_INIT;
  start.app_key = "my-application";
  start.server = "https://localhost:8088";
  return oq_set_user("user-1") == OQ_OK && oq_start(&start) == OQ_OK;
}

int main(void) {
  if (!glfwInit()) return 1;
  game.window = glfwCreateWindow(390, 700, "First window", NULL, NULL);
  if (!game.window) return 1;
  glfwMakeContextCurrent(game.window);
  glfwSwapInterval(1);
  glGenTextures(1, &game.texture);
  glBindTexture(GL_TEXTURE_2D, game.texture);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  if (!start_messages()) {
    fprintf(stderr, "%s\n", oq_last_error());
    return 1;
  }
  resized(game.window);
  glfwSetCursorPosCallback(game.window, moved);
  glfwSetMouseButtonCallback(game.window, pressed);
  glfwSetKeyCallback(game.window, key_pressed);
  glfwSetScrollCallback(game.window, scrolled);
  glfwSetWindowSizeCallback(game.window, size_changed);
  glfwSetWindowIconifyCallback(game.window, minimised);
  glfwSetWindowFocusCallback(game.window, focused);

  /* A game draws all the time. A program that draws only when something changes waits for what oq_pump() returns. */
  while (!glfwWindowShouldClose(game.window)) {
    glfwPollEvents();
    oq_pump(0.004);
    if (game.is_frame_wanted) paint_messages(&game);
    draw_scene(glfwGetTime());
    draw_messages(&game);
    glfwSwapBuffers(game.window);
  }
  oq_flush(2, NULL);
  oq_shutdown();
  free(game.buffer.pixels);
  glfwTerminate();
  return 0;
}
