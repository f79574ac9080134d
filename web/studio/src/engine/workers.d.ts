// vite.config.ts
declare module "worker:*" {
  const address: string;
  export default address;
}
